// One websocket connection of libwebsockets, and the library's context around it: a context lives as long as its
// connection. Everything on the worker's thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "link/tls_context.h"

struct lws;
struct lws_context;

namespace ravd {

// Signature of a libwebsockets protocol callback: connection, reason, user, in, len.
using lws_callback = std::function<int(lws*, int, void*, void*, std::size_t)>;

// Whom libwebsockets' callbacks reach: the worker that is connected or connecting, else empty. Process-wide, as
// libwebsockets' log level is: one websock_worker per process. Only touched by that worker's thread.
extern lws_callback current_lws_callback;

// Where the service is: its name or address, port and request path; and how to reach it.
struct link_target {
    std::string host;
    std::string path;
    std::uint32_t port;
    tls_settings tls;
};

class connection {
  public:
    // A handshake that takes longer ends the attempt.
    static constexpr std::uint32_t connect_limit_s = 20;

    // `name`: of the worker and the sub-protocol; outlives the object. `log_hook` gets the library's own lines.
    connection(const char* name, void (*log_hook)(int level, const char* line));
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    // Starts connecting to the numeric `address`; what happens is reported to `on_event`. A signal on the event
    // descriptor `wake_fd`, which stays the caller's, ends the wait of service(). False: it cannot be started.
    bool open(const link_target& target, const std::string& address, int wake_fd, lws_callback on_event);
    // Without a close frame. Calls back.
    void close();
    bool is_open() const { return context_ != nullptr; }

    // One pass of the library: waits at most `limit_ms` for something to do, and does it. False when it fails.
    bool service(int limit_ms);

    // From the report of the handshake to that of the end: the connection that is established, else null.
    lws* established() const { return wsi_; }
    void set_established(lws* wsi) { wsi_ = wsi; }
    // A report says that it is possible to write, soon; not while earlier output is pending.
    void ask_to_write();
    // The library holds a part of a frame that the socket did not take. Writing then would put a frame into the middle
    // of another.
    bool output_pending() const;
    // What TLS has to say about why open() or the handshake failed; may be empty.
    const std::string& tls_failure() const { return tls_.failure(); }
    // When the service's certificate ends; empty without TLS.
    const std::string& certificate_end() const { return tls_.certificate_end(); }
    // Takes the signal that ended the wait, at its report.
    static void take_signal(lws* wsi);

  private:
    struct library;  // records handed to libwebsockets

    void fill_context_info(bool with_tls);
    void fill_connect_info(const link_target& target, const std::string& address);
    bool adopt_signal(int wake_fd);

    const char* name_;
    void (*log_hook_)(int level, const char* line);
    std::unique_ptr<library> library_;
    tls_context tls_;  // of the last attempt
    lws_context* context_ = nullptr;
    lws* wsi_ = nullptr;
};

}  // namespace ravd

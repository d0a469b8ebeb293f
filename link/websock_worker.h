// The worker that keeps the websocket link to the service and moves whole text messages between it and two queues.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "core/buffer.h"
#include "core/safe_queue.h"
#include "core/worker.h"
#include "link/resolver.h"

struct lws;
struct lws_context;

namespace ravd {

// Which link a worker keeps; also fixes its name, which is the sub-protocol offered to the service.
constexpr int roaming_mode = 0;  // "websock-roaming"
constexpr int corvane_mode = 1;  // "websock-rrm"

// A message from the service that is longer is skipped.
constexpr std::size_t received_message_limit = 8u * 1024 * 1024;

// Signature of a libwebsockets protocol callback: connection, reason, user, in, len.
using lws_callback = std::function<int(lws*, int, void*, void*, std::size_t)>;

// Whom libwebsockets' callbacks reach: the worker that is connected or connecting, else empty. Process-wide, as
// libwebsockets' log level is: one websock_worker per process. Only touched by that worker's thread.
extern lws_callback current_lws_callback;

// Reconnects with a randomised exponential back-off, pings every 30 s, and tells its consumer about the link with
// "internal-ipc" messages. Everything below runs on the worker's own thread, but wake().
class websock_worker final : public abstract_worker {
  public:
    // Sends what is popped from `input`, pushes what is received into `output`; both outlive the worker. The texts are
    // copied. Delays are clamped to 0 .. 1,000,000 s; `lookup` turns the host's name into addresses on a thread of its
    // own.
    websock_worker(safe_queue& input, safe_queue& output, const char* host, const char* path, std::uint32_t port,
                   const run_flag* running, std::uint32_t initial_delay_s, std::uint32_t max_delay_s, int mode,
                   resolver::lookup_function lookup = look_up_addresses);
    ~websock_worker() override;

    // Waits the back-off, serving internal messages meanwhile, and starts the connection.
    bool init() override;
    // Serves the connection, at most 100 ms when nothing moves, and runs due timers. Always true.
    bool process() override;
    void deinit() override;
    bool is_alive(const run_flag* running) override;

    // Ends the waits of an established link. From any thread; called with the input queue's lock held.
    void wake();

    // What libwebsockets reports; `reason` is one of lws_callback_reasons. Always 0.
    int on_lws_event(lws* wsi, int reason, void* user, void* in, std::size_t len);

    // Writes one frame; `type` is one of lws_write_protocol. What lws_write answers, or -1 when memory ran out. Never
    // while earlier output of the connection is pending.
    int lws_send(lws* wsi, const char* data, std::size_t len, int type);

    // Obeys an internal message. True: it was one and is consumed; false: it goes to the service.
    bool handle_internal(const buffer_info_t& buffer);

    // Tells the consumer. What a full queue refuses is repeated on later turns, in order.
    void send_link_status(bool connected);

  private:
    struct library;  // records handed to libwebsockets

    // connect.cpp
    void wait_before_connect();
    void serve_while_waiting();
    bool resolve_host(std::string& address);
    bool connect(const std::string& address);
    void fill_context_info();
    void fill_connect_info(const std::string& address);

    // websock_worker.cpp
    void ping_timeout();
    void service_link();
    void service_once(std::int64_t limit_us);
    bool output_pending() const;
    void destroy_context(lws_context* context);
    void end_wait();
    void arm_ping_timeout();

    // events.cpp
    void process_client_connection_error();
    void process_client_established(lws* wsi);
    void process_closed();
    void process_client_receive(lws* wsi, const char* in, std::size_t len);
    void process_client_writeable(lws* wsi);
    void process_protocol_destroy();
    bool keep_fragment(const char* in, std::size_t len, bool final);
    void drain_input(lws* wsi);

    // internal.cpp
    void process_internal_unlink();
    bool flush_link_status();

    // Guards context_, established_ and the unlinked check. Taken after the input queue's lock, never before.
    std::mutex mutex_;
    const int mode_;
    safe_queue& input_;
    safe_queue& output_;
    const std::string host_;
    const std::string path_;
    const std::uint32_t port_;
    resolver resolver_;

    std::unique_ptr<library> library_;
    lws_context* context_ = nullptr;  // null while not connected
    lws* wsi_ = nullptr;              // the established connection

    std::shared_ptr<buffer_info_t> rx_buffer_;  // the message being received
    bool rx_skipping_ = false;                  // the rest of a message that cannot be kept passes by

    std::uint32_t missed_pongs_ = 0;  // pings since the last pong; outlives a connection
    bool alive_ = false;
    bool established_ = false;
    bool unlinked_ = false;    // never cleared
    bool data_moved_ = false;  // by the last service pass
    std::atomic<bool> wake_pending_{false};
    timespec last_ping_{};
    std::int64_t connect_deadline_s_ = 0;

    // Statuses that the consumer's queue refused: at most "disconnected", then "connected".
    bool disconnected_unsent_ = false;
    bool connected_unsent_ = false;

    std::uint32_t current_delay_;  // seconds
    const std::uint32_t initial_delay_;
    const std::uint32_t max_delay_;
};

}  // namespace ravd

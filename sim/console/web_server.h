// The console's web server: files, one download and the viewers' websockets. Everything happens on the loop's thread.
// What it says to a viewer and what a request means is its owner's.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/unique_fd.h"
#include "sim/common/event_loop.h"
#include "sim/service/options.h"

namespace ravd::sim {

// A text for viewers, made once for all of them.
using web_frame = std::shared_ptr<std::string>;
web_frame make_frame(const std::string& text);

// Limits.
constexpr std::size_t web_connection_limit = 64;
constexpr std::size_t viewer_limit = 16;
constexpr std::size_t viewer_request_limit = 1u << 20;   // bytes of one message from the page
constexpr std::size_t viewer_backlog_limit = 16u << 20;  // bytes that wait for one viewer

class web_listener {
  public:
    virtual ~web_listener() = default;
    virtual void viewer_joined(unsigned viewer) = 0;
    virtual void viewer_said(unsigned viewer, std::string_view text) = 0;
    // Everything sent to it before has left its queue.
    virtual void viewer_drained(unsigned viewer) = 0;
    virtual void viewer_left(unsigned viewer) = 0;
    // More of the download: what stands at `at`, which is moved on, 0 at first. Empty at its end.
    virtual std::string download_piece(std::uint64_t& at) = 0;
};

class web_server {
  public:
    web_server(event_loop& loop, web_listener& listener);
    ~web_server();
    web_server(const web_server&) = delete;
    web_server& operator=(const web_server&) = delete;

    // Opens the port. False with the reason in `error`.
    bool start(const web_options& options, std::string& error);
    // What to type into a browser, with the token where there is one.
    std::string url() const;

    // A viewer that takes nothing for so long that its limit is reached is let go.
    void send(unsigned viewer, const web_frame& frame);

    // What the library keeps, and one connection as it sees it.
    struct state;
    struct session;

  private:
    bool listen_on_port(const web_options& options, std::string& error);
    void accept_all();
    void adopt(unique_fd tcp);
    void stir();
    void look_after();
    void follow();
    void tick();

    event_loop& loop_;
    std::unique_ptr<state> state_;
    unique_fd listener_fd_;
    bool stirred_ = false;
    bool full_ = false;  // no more connections are taken at the moment
};

}  // namespace ravd::sim

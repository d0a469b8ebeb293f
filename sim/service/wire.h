// The wire between one agent's TCP connection and the websocket engine. The engine (libwebsockets) sits behind a
// socket pair and every byte passes here, which gives the lab what the engine alone cannot do: bytes that are no
// websocket frame, pings that nobody answers, a peer that stops reading, a reset.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/unique_fd.h"
#include "sim/common/event_loop.h"
#include "sim/service/frame_filter.h"

namespace ravd::sim {

class wire {
  public:
    // Both descriptors are non-blocking. The wire follows them in the loop and calls `moved` when bytes went through
    // it, or one of its sides ended.
    wire(event_loop& loop, unique_fd tcp, unique_fd engine, std::function<void()> moved);
    ~wire();
    wire(const wire&) = delete;
    wire& operator=(const wire&) = delete;

    // Moves what can be moved without blocking. `tcp_events` is what poll said of the TCP side.
    void pump(short tcp_events);
    // Both directions have ended and everything was delivered, or the connection is beyond help.
    bool finished() const { return finished_; }
    // The engine has closed its side.
    bool engine_ended() const { return out_.ended; }

    // Pings of the agent vanish before the engine sees them.
    void set_mute(bool on) { mute_ = on; }
    bool mute() const { return mute_; }
    // Nothing is read from the agent: its output stalls once the socket buffers are full.
    void set_reading(bool on);
    bool reading() const { return reading_; }

    // Puts bytes into the stream towards the agent, behind everything the engine has written so far, between two
    // frames. One at a time: the caller waits until injecting() is false.
    void inject(std::string bytes) { inject_ = std::move(bytes); }
    bool injecting() const { return inject_.has_value(); }
    // A reset instead of an orderly end; whatever is on its way is lost.
    void drop();

    std::uint64_t pings() const { return pings_; }
    std::uint64_t bytes_in() const { return in_.bytes; }
    std::uint64_t bytes_out() const { return out_.bytes; }

  private:
    // True when anything moved.
    bool pump_in();
    bool pump_out();
    // Tells the loop what can move something now.
    void follow();
    void end();

    struct direction {
        frame_filter frames;
        std::string pending;  // read and not yet written
        bool ended = false;   // nothing more is read
        std::uint64_t bytes = 0;
    };

    event_loop& loop_;
    unique_fd tcp_;
    unique_fd engine_;
    std::function<void()> moved_;
    direction in_;   // from the agent
    direction out_;  // to it
    std::optional<std::string> inject_;
    bool mute_ = false;
    bool reading_ = true;
    bool finished_ = false;
    std::uint64_t pings_ = 0;
};

}  // namespace ravd::sim

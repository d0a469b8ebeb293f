// One agent's connection: its messages, and what waits to be sent to it. The websocket engine calls it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "sim/service/wire.h"

struct lws;

namespace ravd::sim {

// What a connection tells its owner. Calls come from inside the engine; the listener may send and close from them.
class server_listener {
  public:
    virtual ~server_listener() = default;
    virtual void link_opened(unsigned link, const std::string& peer, const std::string& sub_protocol,
                             const std::string& path) = 0;
    virtual void message_received(unsigned link, std::string_view text, bool binary) = 0;
    // Something the peer did wrong below the level of messages.
    virtual void link_trouble(unsigned link, const std::string& what) = 0;
    virtual void link_closed(unsigned link, const std::string& why) = 0;
};

struct outgoing {
    enum class kind { text, binary, first, middle, last, ping, raw, close };
    kind what = kind::text;
    std::string bytes;  // for close: the reason
    unsigned close_code = 1000;
};

// Limits per link.
constexpr std::size_t message_limit = 16u << 20;
constexpr std::size_t output_limit = 64u << 20;

struct link_statistics {
    std::uint64_t messages_in = 0;
    std::uint64_t payload_in = 0;
    std::uint64_t messages_out = 0;
    std::uint64_t payload_out = 0;
    std::uint64_t wire_in = 0;
    std::uint64_t wire_out = 0;
    std::uint64_t pings = 0;
    std::uint64_t pongs = 0;
    std::size_t queued = 0;  // bytes not yet handed to the wire
    bool mute = false;
    bool reading = true;
};

class connection {
  public:
    // `stirred` is called when the engine or the owner has something to do.
    connection(server_listener& listener, unsigned number, std::string peer, event_loop& loop, unique_fd tcp,
               unique_fd near, std::function<void()> stirred);
    ~connection();

    bool send(outgoing item);
    bool drop();
    wire& relay() { return relay_; }
    link_statistics statistics() const;

    // Over for both the agent and the engine. `now_ms` tells how long the engine has been done with it: an agent that
    // does not close its side is dropped after a while.
    bool finished(std::int64_t now_ms);

    // For the engine.
    void attach(lws* wsi) { wsi_ = wsi; }
    void on_open(const std::string& sub_protocol, const std::string& path);
    void on_receive(std::string_view piece, bool final, bool binary);
    // What is first in the queue. -1 ends the connection.
    int on_writable();
    void on_pong() { ++counts_.pongs; }
    void on_peer_close(const std::string& reason) { close_reason_ = reason; }
    void on_closed();

  private:
    int write_message(outgoing item);

    server_listener& listener_;
    unsigned number_;
    std::string peer_;
    std::function<void()> stirred_;
    wire relay_;
    lws* wsi_ = nullptr;
    bool open_ = false;       // the handshake is complete and the end was not reported
    bool oversized_ = false;  // the rest of the message in progress is skipped
    std::string close_reason_ = "closed";
    std::string received_;
    std::deque<outgoing> output_;
    std::int64_t engine_ended_ms_ = 0;  // when the engine was done with it; 0: it is not
    link_statistics counts_;
};

}  // namespace ravd::sim

// The websocket side of the lab service: accepts agents, cuts the stream into messages, sends what is queued.
// libwebsockets speaks the protocol behind one `wire` per connection. Everything happens on the caller's thread.
#pragma once

#include <poll.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct lws_context;
struct lws_vhost;

namespace ravd::lab {

// What the server tells its owner. Calls come from inside server::turn(); the listener may send and close from them.
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

struct server_options {
    std::string bind_address = "127.0.0.1";
    unsigned port = 0;
    std::vector<std::string> sub_protocols = {"websock-rrm", "websock-roaming"};
    std::size_t max_links = 1000;
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

class server {
  public:
    explicit server(server_listener& listener);
    ~server();
    server(const server&) = delete;
    server& operator=(const server&) = delete;

    // Opens the port. False with the reason in `error`.
    bool start(const server_options& options, std::string& error);
    // The port in use, also when 0 was asked for.
    unsigned port() const { return port_; }

    // Adds what poll() should watch; turn() gets the same entries back. The wait should be at most wait_ms().
    void poll_entries(std::vector<pollfd>& entries);
    int wait_ms() const { return moved_ ? 0 : 50; }
    void turn(const pollfd* entries);

    // False when there is no such link or its output limit is reached.
    bool send(unsigned link, outgoing item);
    bool drop(unsigned link);
    bool set_mute(unsigned link, bool on);
    bool set_reading(unsigned link, bool on);
    bool statistics(unsigned link, link_statistics& out) const;

    struct connection;
    // For the engine's callback.
    void on_open(connection& c, const char* sub_protocol, const char* path);
    void on_receive(connection& c, const char* data, std::size_t size, bool final, bool binary);
    int on_writable(connection& c);
    void on_closed(connection& c);

  private:
    void accept_all();
    void service_engine();
    void remove_finished();
    connection* find(unsigned link) const;

    server_listener& listener_;
    server_options options_;
    std::vector<std::string> protocol_names_;
    struct engine;
    std::unique_ptr<engine> engine_;
    int listen_fd_ = -1;
    unsigned port_ = 0;
    unsigned next_number_ = 1;
    bool moved_ = true;
    std::map<unsigned, std::unique_ptr<connection>> connections_;
    std::vector<unsigned> polled_;
};

}  // namespace ravd::lab

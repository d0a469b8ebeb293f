// The websocket side of the lab service: accepts agents and gives each a number. Everything happens on the loop's
// thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/unique_fd.h"
#include "sim/common/event_loop.h"
#include "sim/service/connection.h"
#include "sim/service/engine.h"
#include "sim/service/tls_door.h"

namespace ravd::sim {

struct server_options {
    std::string bind_address = "127.0.0.1";
    unsigned port = 0;
    std::vector<std::string> sub_protocols = {"websock-rrm", "websock-roaming"};
    std::size_t max_links = 1000;
    tls_options tls;
};

class server {
  public:
    server(event_loop& loop, server_listener& listener) : loop_(loop), listener_(listener), door_(loop) {}
    ~server();
    server(const server&) = delete;
    server& operator=(const server&) = delete;

    // Opens the port. False with the reason in `error`.
    bool start(const server_options& options, std::string& error);
    // The port in use, also when 0 was asked for.
    unsigned port() const { return port_; }

    // False when there is no such link, or, for send(), its output limit is reached.
    bool send(unsigned link, outgoing item);
    bool drop(unsigned link);
    bool set_mute(unsigned link, bool on);
    bool set_reading(unsigned link, bool on);
    bool statistics(unsigned link, link_statistics& out) const;

  private:
    bool listen_on_port(std::string& error);
    void accept_all();
    void adopt(unique_fd tcp, const std::string& peer);
    // Something moved: the engine is looked after behind what is due now.
    void stir();
    void look_after();
    void tick();
    connection* find(unsigned link) const;

    event_loop& loop_;
    server_listener& listener_;
    server_options options_;
    engine engine_;
    tls_door door_;
    unique_fd listener_fd_;
    unsigned port_ = 0;
    unsigned next_number_ = 1;
    bool stirred_ = false;
    std::map<unsigned, std::unique_ptr<connection>> connections_;
};

}  // namespace ravd::sim

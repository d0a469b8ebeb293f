// libwebsockets as the server's side of the websocket protocol. It never sees a network socket: each connection reaches
// it over one end of a socket pair, whose other end a wire holds.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/unique_fd.h"
#include "sim/service/connection.h"

namespace ravd::sim {

class engine {
  public:
    engine();
    ~engine();
    engine(const engine&) = delete;
    engine& operator=(const engine&) = delete;

    // The names are kept. False with the reason in `error`.
    bool start(const std::vector<std::string>& sub_protocols, std::size_t max_links, std::string& error);
    // Hands over the engine's end. False when it cannot be served; the descriptor is closed then.
    bool adopt(unique_fd end, connection& to);
    // Does what can be done without blocking. True when anything was, so that more may follow.
    bool service();

    // What the library keeps.
    struct state;

  private:
    std::unique_ptr<state> state_;
};

}  // namespace ravd::sim

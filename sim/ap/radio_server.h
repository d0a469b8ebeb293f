// The radio socket: wireless ioctls of ravd-sim.
#pragma once

#include <string>

#include "sim/ap/wireless_driver.h"
#include "sim/common/stream_server.h"

namespace ravd::sim {

class radio_server {
  public:
    radio_server(event_loop& loop, wireless_driver& driver);
    // In the simulation's directory.
    bool open(const std::string& directory, std::string& reason) {
        return server_.open(directory + "/" + radio_socket_name, reason);
    }

  private:
    bool take(std::uint64_t connection, std::string& input);

    event_loop& loop_;
    wireless_driver& driver_;
    stream_server server_;
};

}  // namespace ravd::sim

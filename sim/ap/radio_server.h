// The radio socket: wireless ioctls of ravd-sim.
#pragma once

#include <string>

#include "sim/ap/stream_server.h"
#include "sim/ap/wireless_driver.h"

namespace ravd::sim {

class radio_server {
  public:
    radio_server(event_loop& loop, const std::string& directory, wireless_driver& driver);
    bool open(std::string& reason) { return server_.open(reason); }

  private:
    bool take(std::uint64_t connection, std::string& input);

    event_loop& loop_;
    wireless_driver& driver_;
    stream_server server_;
};

}  // namespace ravd::sim

// What stands behind the commands iwpriv and wpa_cli of the simulation: their stand-ins send their arguments to the
// socket "command.sock" and print what comes back.
#pragma once

#include <string>
#include <vector>

#include "sim/ap/faults.h"
#include "sim/ap/hostapd.h"
#include "sim/common/stream_server.h"

namespace ravd::sim {

constexpr const char command_socket_name[] = "command.sock";

// Request: each argument, the command's name first, followed by a zero byte; an empty argument ends it. Reply: a byte
// with the exit status, then the output; then the connection ends.
class command_server {
  public:
    command_server(event_loop& loop, access_point& ap, hostapd& daemon, fault_list& faults, const event_log& log);
    // In the simulation's directory.
    bool open(const std::string& directory, std::string& reason) {
        return server_.open(directory + "/" + command_socket_name, reason);
    }

    struct outcome {
        int status = 0;
        std::string output;
    };
    // Runs a command line.
    outcome run(const std::vector<std::string>& arguments);

  private:
    bool take(std::uint64_t connection, std::string& input);
    outcome run_iwpriv(const std::vector<std::string>& arguments);
    outcome run_wpa_cli(const std::vector<std::string>& arguments);

    event_loop& loop_;
    access_point& ap_;
    hostapd& hostapd_;
    fault_list& faults_;
    const event_log& log_;
    stream_server server_;
};

}  // namespace ravd::sim

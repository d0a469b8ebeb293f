#include "daemon/run_flags.h"

#include "daemon/agent_config.h"

namespace ravd {

run_flag roam_bus_running{false};
run_flag roam_link_running{false};
run_flag agent_running{false};
run_flag agent_link_running{false};

void set_run_flags(const agent_config& config) {
    const bool roam = config.links[roam_link].enabled != 0;
    const bool corvane = config.links[corvane_link].enabled != 0;
    roam_bus_running = roam;
    roam_link_running = roam;
    agent_running = corvane;
    agent_link_running = corvane;
}

}  // namespace ravd

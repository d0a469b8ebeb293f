// The two ways in which the daemon runs. This is the whole wiring of queues and workers.
#pragma once

namespace ravd {

struct agent_config;

// A websocket bridged to the local bus. Returns the exit status once SIGTERM or SIGINT has ended the workers.
int run_roaming_mode(const agent_config& config);

// The agent between the service and the access point. As above.
int run_agent_mode(const agent_config& config);

}  // namespace ravd

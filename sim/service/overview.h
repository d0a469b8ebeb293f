// All agents at a glance.
#pragma once

#include <map>
#include <string>

#include "sim/service/agent.h"

namespace ravd::sim {

// A table with one line for each agent. `now`: monotonic seconds.
std::string overview_table(const std::map<unsigned, agent>& agents, double now);

}  // namespace ravd::sim

// What keeps the workers of each run mode going.
#pragma once

#include "core/worker.h"

namespace ravd {

struct agent_config;

// Each pointed to by the workers of one mode; the signal handler clears them.
extern run_flag roam_bus_running;
extern run_flag roam_link_running;
extern run_flag agent_running;
extern run_flag agent_link_running;

// Sets the flags of the links that are enabled and clears the others.
void set_run_flags(const agent_config& config);

}  // namespace ravd

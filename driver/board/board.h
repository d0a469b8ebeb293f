// Which back-end runs a radio of this board, and the driver made of them: the one place that knows every kind.
#pragma once

#include <memory>

#include "driver/back_end.h"
#include "driver/driver_realtek.h"

namespace ravd {

// The back-end of an interface, by the board description of its radio. Never null.
std::unique_ptr<back_end> board_back_end(activity* progress, const char* ifname);

// The process's one driver, built at the first call and destroyed at process exit. `running` counts at that first call.
driver_realtek& realtek_driver(const run_flag* running);

}  // namespace ravd

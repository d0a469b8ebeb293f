// Which back-end runs a radio of this board, and the driver made of them: the one place that knows every kind.
#pragma once

#include <set>
#include <string>

#include "driver/back_end.h"
#include "driver/driver_realtek.h"

namespace ravd {

// Chooses by the board description of an interface's radio.
class board_back_ends final : public back_end_source {
  public:
    std::unique_ptr<back_end> back_end_of(activity* progress, const char* ifname) override;
    int event_descriptor() override;
    bool scans_over() override;

  private:
    // A radio of mainline Linux whose interface is away looks like none, and stays what it was.
    std::set<std::string> mainline_radios_;
};

// The process's one driver, built at the first call and destroyed at process exit. `running` counts at that first call.
driver_realtek& realtek_driver(const run_flag* running);

}  // namespace ravd

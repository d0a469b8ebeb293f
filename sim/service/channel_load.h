// How much of each channel's air a scan report shows to be taken.
#pragma once

#include <vector>

#include "sim/service/radio_view.h"

namespace ravd::sim {

struct channel_load {
    int channel = 0;
    double load = 0;      // as load_on() counts it, over 20 MHz; BSSs of the radios themselves do not count
    unsigned bss = 0;     // whose control channel it is
    int loudest = -200;   // of those, dBm
    bool in_use = false;  // by one of the radios
};

// Every channel that is available to the radios, in use or heard, in ascending order.
std::vector<channel_load> channel_loads(const std::vector<radio_view>& radios, const std::vector<reported_bss>& heard);

}  // namespace ravd::sim

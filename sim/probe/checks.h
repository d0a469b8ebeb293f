// Everything the daemon needs of a device, asked for one by one. Nothing is changed by asking.
#pragma once

#include <string>
#include <vector>

#include "driver/driver_realtek.h"

namespace ravd::probe {

struct finding {
    bool good = false;
    std::string what;  // the call or the file
    std::string text;  // what it gave, or why it failed
};

// In the order of a start: identity, bus, hostapd, radios, VAPs. The driver's table must be filled.
std::vector<finding> run_checks(driver_realtek& driver);

}  // namespace ravd::probe

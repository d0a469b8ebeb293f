// Everything the daemon needs of a device, asked for one by one. Nothing is changed by asking.
#pragma once

#include <string>
#include <vector>

#include "driver/driver_realtek.h"

namespace ravd {

struct finding {
    bool good = false;
    std::string what;  // the call or the file
    std::string text;  // what it gave, or why it failed
};

// The bus and its configuration service; to be called before there is a driver, whose number on the bus it uses.
std::vector<finding> check_bus();

// In the order of a start: identity, hostapd, radios, VAPs. The driver's table must be filled,
// unless there are no settings to fill it from (`configured` is false): these are then not asked for either.
std::vector<finding> run_checks(driver_realtek& driver, bool configured);

}  // namespace ravd

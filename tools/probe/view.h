// What the daemon sees of an access point, printed.
#pragma once

#include "driver/driver_interface.h"

namespace ravd {

// Radios, VAPs and stations. The driver's table must be filled.
void print_view(driver_interface& driver);

// Runs a scan over the channels given, split by band (empty: all), and prints what it found. `wait_s` of 0 waits as
// long as the daemon would. 0, or -1 when the results could not be read.
int print_scan(driver_interface& driver, bool active, const channel_set& channels, unsigned wait_s);

}  // namespace ravd

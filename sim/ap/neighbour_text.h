// What the daemon writes into the drivers' neighbour files. Several writes may arrive joined, without line ends.
#pragma once

#include <string>
#include <vector>

#include "sim/ap/access_point.h"

namespace ravd::sim {

struct neighbour_order {
    enum kind { add, clear, unknown } what = unknown;
    neighbour_entry entry;  // unknown: `rest` has the text
};

// rtl8192cd: add BSSID(12 digits) 0xINFO CLASS CHANNEL PHY ssid "SSID" bssload N N
// rtk_wifi6: add BSSID INFO CLASS CHANNEL PHY PRIORITY
// both:      delall
std::vector<neighbour_order> read_neighbour_orders(const std::string& text, chip_kind kind);

}  // namespace ravd::sim

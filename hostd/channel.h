// Channels as the bus names them, as the kernel does, and as hostapd is told to go there.
#pragma once

#include <cstdint>
#include <string>

#include "platform/nl80211.h"

namespace ravd::hostd {

struct channel_use {
    std::uint32_t channel = 0;  // 0: not known
    std::uint32_t width = 20;   // MHz
    bool upper = false;         // at 40 MHz: the primary channel is the upper one
};

// In the 5 GHz band the place of the primary channel follows from its number; then `upper` does not matter.
bool same_channel(const channel_use& a, const channel_use& b);

channel_use channel_of(const wireless_interface& interface);

// What an access point speaks, as hostapd's order has to name it.
struct access_point_modes {
    bool ht = false;
    bool vht = false;
    bool he = false;
};

// The order for hostapd to announce the switch and go there. Empty, with the reason, when the radio may not: no such
// channel, not permitted, radar has to be looked for first, no such width.
std::string channel_switch_order(const channel_use& use, const phy_info& phy, const access_point_modes& modes,
                                 std::string& reason);

}  // namespace ravd::hostd

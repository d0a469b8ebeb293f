// What a station hears, and where it goes. Pure functions.
#pragma once

#include <string>
#include <vector>

#include "sim/ap/presence.h"

namespace ravd::sim {

// A BSS of the station's network, as loud as the station hears it.
struct audible_bss {
    mac_octets bssid{};
    int band = 2;
    int rssi = 0;  // dBm
};

constexpr int roaming_hysteresis_db = 8;
constexpr int usable_dbm = -82;    // below, a station looks for anything better
constexpr int station_power = 15;  // dBm

// Every BSS with this SSID that reaches the station.
std::vector<audible_bss> audible_to(const surroundings& air, const antenna& station, const std::string& ssid,
                                    const std::vector<const presence*>& all);

// Where the station is behind its next look: it stays unless another BSS is better by the hysteresis, the upper band
// being preferred where it is loud; `held`: it was sent here and stays while it hears enough. Zeros: nothing is heard.
mac_octets next_place(const std::vector<audible_bss>& heard, const mac_octets& at, bool held);

// Where a station goes that is asked to leave `at`: the loudest of the targets it can use, else the loudest other that
// it can use; zeros when there is none, and it stays.
mac_octets asked_place(const std::vector<audible_bss>& heard, const mac_octets& at,
                       const std::vector<mac_octets>& targets);

}  // namespace ravd::sim

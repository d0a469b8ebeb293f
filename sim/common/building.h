// Buildings made from a seed: access points of one domain, networks of strangers, and stations, each at its place.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/common/channel_block.h"
#include "sim/common/mac_text.h"
#include "sim/common/propagation.h"

namespace ravd::sim {

constexpr int building_size_limit = 500;  // access points

// A radio as it is before anybody planned.
struct building_radio {
    channel_use use;
    int power = 20;  // dBm
    int power_min = 8;
    int power_max = 20;
    std::vector<int> channels;  // that it may use
};

struct building_access_point {
    mac_octets base{};  // a radio's first BSSID is this + 1 + 8 x its number
    place where;
    std::array<building_radio, 2> radios;  // 2.4 GHz, 5 GHz
};

struct building_network {
    mac_octets bssid{};
    std::string ssid;
    place where;
    channel_use use;
    int power = 20;  // dBm
};

struct building_station {
    mac_octets mac{};
    place where;
    int home = 0;       // index of the access point it was set up near
    bool v = true;      // supports 802.11v
    bool obeys = true;  // leaves when it is asked to
};

struct building {
    surroundings air;
    std::string ssid;  // of all access points
    std::vector<building_access_point> access_points;
    std::vector<building_network> strangers;
    std::vector<building_station> stations;
};

// The same kind, number (1 to building_size_limit) and seed give the same building on every machine.
building make_building(building_kind kind, int access_points, std::uint32_t seed);

// Six octets as a number, for antenna::number. An access point goes by its base address, whichever radio sends.
std::uint64_t mac_number(const mac_octets& mac);

inline antenna antenna_of(const building_access_point& ap) { return {mac_number(ap.base), ap.where}; }
inline antenna antenna_of(const building_network& network) { return {mac_number(network.bssid), network.where}; }
inline antenna antenna_of(const building_station& station) { return {mac_number(station.mac), station.where}; }

}  // namespace ravd::sim

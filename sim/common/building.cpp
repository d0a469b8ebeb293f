#include "sim/common/building.h"

#include <algorithm>
#include <cmath>

#include "sim/common/dice.h"

namespace ravd::sim {
namespace {

// How a kind of building is laid out: one unit for each access point (a flat, a part of a floor, a house).
struct layout {
    double unit_x, unit_y;  // metres
    int columns, rows;      // units on a floor
    double row_gap;         // metres between rows: the street
    int floors_in_unit;
    int stranger_percent;  // networks of strangers for 100 units
    int stations_least, stations_most;
};

layout layout_of(building_kind kind, int units) {
    switch (kind) {
        case building_kind::office: {
            // Nearly square floors of at most sixteen.
            const int on_floor = std::min(units, 16);
            const int columns = static_cast<int>(std::ceil(std::sqrt(on_floor)));
            return {15, 14, columns, (on_floor + columns - 1) / columns, 0, 1, 30, 4, 12};
        }
        case building_kind::street:
            return {12, 10, (units + 1) / 2, 2, 15, 2, 80, 2, 5};
        default:
            return {10, 8, 3, 2, 0, 1, 70, 2, 6};
    }
}

// The nearest corner of a unit.
place corner(const layout& plan, int unit) {
    const int on_floor = plan.columns * plan.rows;
    const int row = unit % on_floor / plan.columns;
    return {unit % plan.columns * plan.unit_x, row * (plan.unit_y + plan.row_gap), unit / on_floor};
}

place somewhere(dice& d, const layout& plan, int unit) {
    place at = corner(plan, unit);
    at.x += d.between(0.5, plan.unit_x - 0.5);
    at.y += d.between(0.5, plan.unit_y - 0.5);
    at.floor += d.roll(0, plan.floors_in_unit - 1);
    return at;
}

// Locally administered; `block` keeps the kinds apart, `seed` the buildings.
mac_octets numbered(std::uint8_t first, std::uint32_t seed, std::uint8_t block, int number) {
    return {first, static_cast<std::uint8_t>(seed >> 8),   static_cast<std::uint8_t>(seed),
            block, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

template <std::size_t N>
int one_of(dice& d, const int (&values)[N]) {
    return values[d.roll(0, static_cast<int>(N) - 1)];
}

// What people find when nobody planned: the usual three channels below, and above whatever the maker chose.
channel_use usual_2g(dice& d) {
    channel_use use;
    use.channel = one_of(d, {1, 1, 1, 6, 6, 6, 11, 11, 11, 3, 4, 9});
    use.bandwidth = d.chance(25) ? 40 : 20;
    if (use.bandwidth == 40) use.sideband = use.channel <= 9 ? "lower" : "upper";
    return use;
}

channel_use usual_5g(dice& d) {
    channel_use use;
    use.channel = one_of(d, {36, 36, 36, 40, 44, 48, 52, 60, 100, 100, 112, 120});
    use.bandwidth = one_of(d, {20, 40, 80, 80, 80});
    if (use.bandwidth == 40) use.sideband = use.channel % 8 == 4 ? "lower" : "upper";
    return use;
}

std::vector<int> upper_channels(int last) {
    std::vector<int> channels;
    for (int channel = 36; channel <= last; channel += channel == 64 ? 36 : 4)
        channels.push_back(channel);
    return channels;
}

building_access_point make_access_point(dice& d, const place& where, const mac_octets& base) {
    building_access_point ap;
    ap.base = base;
    ap.where = where;
    building_radio& low = ap.radios[0];
    low.use = usual_2g(d);
    for (int channel = 1; channel <= 13; ++channel)
        low.channels.push_back(channel);
    building_radio& high = ap.radios[1];
    high.power = high.power_max = 23;
    high.use = usual_5g(d);
    // Some may use indoor channels only.
    const bool indoor = d.chance(20);
    high.channels = upper_channels(indoor ? 64 : 140);
    if (indoor && high.use.channel > 64) high.use = {36, 80, "none"};
    return ap;
}

}  // namespace

building make_building(building_kind kind, int access_points, std::uint32_t seed) {
    const int units = std::clamp(access_points, 1, building_size_limit);
    const layout plan = layout_of(kind, units);
    dice d(seed * std::uint64_t{3} + static_cast<unsigned>(kind));
    building made;
    made.air = {kind, seed};
    made.ssid = std::string("lab-") + building_kind_word(kind);
    for (int unit = 0; unit < units; ++unit) {
        // Sixteen addresses each: the base and those of both radios' VAPs.
        const mac_octets base = numbered(0x02, seed, 0x10, unit * 32);
        made.access_points.push_back(make_access_point(d, somewhere(d, plan, unit), base));
    }
    const int strangers = units * plan.stranger_percent / 100;
    for (int n = 0; n < strangers; ++n) {
        building_network network;
        network.bssid = numbered(0x06, seed, 0x20, n);
        network.ssid = "stranger-" + std::to_string(n + 1);
        network.where = somewhere(d, plan, d.roll(0, units - 1));
        network.use = d.chance(55) ? usual_2g(d) : usual_5g(d);
        network.power = d.roll(14, 20);
        made.strangers.push_back(network);
    }
    for (int unit = 0; unit < units; ++unit) {
        for (int left = d.roll(plan.stations_least, plan.stations_most); left > 0; --left) {
            building_station station;
            station.mac = numbered(0x06, seed, 0x30, static_cast<int>(made.stations.size()));
            station.where = somewhere(d, plan, unit);
            station.home = unit;
            station.v = !d.chance(20);
            station.obeys = !d.chance(10);
            made.stations.push_back(station);
        }
    }
    return made;
}

std::uint64_t mac_number(const mac_octets& mac) {
    std::uint64_t number = 0;
    for (const std::uint8_t octet : mac)
        number = number << 8 | octet;
    return number;
}

}  // namespace ravd::sim

#include "sim/service/channel_load.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "sim/service/planner.h"

namespace ravd::sim {
namespace {

// Of a BSS heard in several rounds the loudest entry for each place on the air: what counts, in a fifth of the list.
std::vector<reported_bss> loudest_of(const std::vector<reported_bss>& heard) {
    std::map<std::tuple<std::string, int, int, std::string>, const reported_bss*> places;
    for (const reported_bss& bss : heard) {
        if (bss.channel <= 0 || bss.channel > 233) continue;
        const auto entry = places.emplace(std::tie(bss.bssid, bss.channel, bss.bandwidth, bss.primary), &bss).first;
        if (dbm(bss.rssi) > dbm(entry->second->rssi)) entry->second = &bss;
    }
    std::vector<reported_bss> all;
    all.reserve(places.size());
    for (const auto& entry : places)
        all.push_back(*entry.second);
    return all;
}

}  // namespace

std::vector<channel_load> channel_loads(const std::vector<radio_view>& radios, const std::vector<reported_bss>& heard) {
    std::map<int, channel_load> columns;
    std::vector<std::string> own;
    for (const radio_view& radio : radios) {
        for (const int channel : radio.available)
            columns[channel];
        if (radio.active) columns[radio.channel].in_use = true;
        for (const vap_view& vap : radio.vaps)
            own.push_back(vap.mac);
    }
    const std::vector<reported_bss> loudest = loudest_of(heard);
    std::set<std::pair<int, std::string>> counted;
    for (const reported_bss& bss : loudest) {
        channel_load& column = columns[bss.channel];
        if (counted.emplace(bss.channel, bss.bssid).second) ++column.bss;
        column.loudest = std::max(column.loudest, dbm(bss.rssi));
    }
    std::vector<channel_load> all;
    all.reserve(columns.size());
    for (auto& [channel, column] : columns) {
        column.channel = channel;
        column.load = load_on(channel_span(channel, 20, ""), loudest, own);
        all.push_back(column);
    }
    return all;
}

}  // namespace ravd::sim

#include "sim/ap/roaming.h"

#include <algorithm>

namespace ravd::sim {
namespace {

constexpr int reach_dbm = -90;        // an association holds down to here
constexpr int upper_band_worth = 6;   // dB, less than the hysteresis: stations prefer the upper band ...
constexpr int upper_band_loud = -72;  // ... where they hear it well

int score(const audible_bss& one) {
    return one.rssi + (one.band == 5 && one.rssi >= upper_band_loud ? upper_band_worth : 0);
}

}  // namespace

std::vector<audible_bss> audible_to(const surroundings& air, const antenna& station, const std::string& ssid,
                                    const std::vector<const presence*>& all) {
    std::vector<audible_bss> heard;
    for (const presence* who : all) {
        for (const presence_radio& radio : who->radios) {
            const auto same = [&](const presence_bss& vap) { return vap.ssid == ssid; };
            if (std::none_of(radio.vaps.begin(), radio.vaps.end(), same)) continue;
            const int rssi = heard_from(air, *who, radio, station);
            if (rssi < reach_dbm) continue;
            for (const presence_bss& vap : radio.vaps)
                if (same(vap)) heard.push_back({vap.bssid, band_of(radio.use.channel), rssi});
        }
    }
    return heard;
}

mac_octets next_place(const std::vector<audible_bss>& heard, const mac_octets& at, bool held) {
    const audible_bss* present = nullptr;
    const audible_bss* best = nullptr;
    for (const audible_bss& one : heard) {
        if (one.bssid == at) present = &one;
        if (!best || score(one) > score(*best)) best = &one;
    }
    if (!best) return no_address;
    if (!present) return best->bssid;
    if (held && present->rssi >= usable_dbm) return at;
    return score(*best) >= score(*present) + roaming_hysteresis_db ? best->bssid : at;
}

mac_octets asked_place(const std::vector<audible_bss>& heard, const mac_octets& at,
                       const std::vector<mac_octets>& targets) {
    const audible_bss* best = nullptr;
    bool best_named = false;
    for (const audible_bss& one : heard) {
        if (one.bssid == at || one.rssi < usable_dbm) continue;
        const bool named = std::find(targets.begin(), targets.end(), one.bssid) != targets.end();
        if (best && (best_named > named || (best_named == named && best->rssi >= one.rssi))) continue;
        best = &one;
        best_named = named;
    }
    return best ? best->bssid : no_address;
}

}  // namespace ravd::sim

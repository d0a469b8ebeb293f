// Records that the driver layer hands to the agent.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace ravd {

// Ascending channel numbers.
using channel_set = std::set<std::uint32_t>;

// One neighbouring BSS found by a scan.
struct scan_record {
    using address = std::array<std::uint8_t, 6>;

    scan_record() {}  // fills nothing: a table made for a reply is written only once
    scan_record(const address& bss, std::int32_t strength, std::uint32_t primary, std::uint32_t mhz, std::int32_t power,
                std::uint32_t sideband_bits)
        : bssid(bss), rssi(strength), channel(primary), bandwidth(mhz), tx_power(power), sideband(sideband_bits) {}

    address bssid;
    std::int32_t rssi;
    std::uint32_t channel;    // primary (control) channel
    std::uint32_t bandwidth;  // MHz
    std::int32_t tx_power;    // as reported by the neighbour; 0 when not known
    std::uint32_t sideband;   // control sideband bits of the chanspec, mask 0x0700
};

// In the driver's order, wlan0 before wlan1.
using ap_table = std::vector<scan_record>;

// One associated station. Copied by value into candidate lists.
struct rrm_sta_s {
    std::string mac;
    std::string target_mac;  // the BSS it roamed to (roam events)
    std::string ssid;
    std::string ifname;              // its VAP's interface
    std::int32_t roam_attempts = 0;  // not 0: it was asked to roam before
    std::int32_t rssi = 0;
    std::array<std::int32_t, 4> readings{};  // dBm, one per antenna
    bool no_80211v = false;                  // does not support BSS transition

    rrm_sta_s() = default;
    rrm_sta_s(const rrm_sta_s&) = default;
    rrm_sta_s(rrm_sta_s&&) = default;
    rrm_sta_s& operator=(const rrm_sta_s&) = default;
    rrm_sta_s& operator=(rrm_sta_s&&) = default;
    virtual ~rrm_sta_s() = default;
};

// What a driver's event wait delivers.
struct driver_event_desc {
    static constexpr std::int32_t station_roamed = 0;
    static constexpr std::int32_t config_changed = 2;

    std::int32_t type;
    std::int32_t radio;
    const rrm_sta_s* station;  // station_roamed only, valid during the call
};

}  // namespace ravd

// The air around the access point: how long scans take and what they hear.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/ap/access_point.h"

namespace ravd::sim {

// One BSS as a scan heard it.
struct heard_bss {
    mac_octets bssid{};
    int rssi = 0;
    int channel = 0;
    int bandwidth = 20;
    std::uint32_t chanspec = 0;
    int power = 0;  // dBm
};

// How long a scan lasts, scenario's speed included. The daemon waits a second more than the radio needs: its timers run
// in whole seconds and may end up to a second early.
std::int64_t active_scan_ms(const access_point& ap, const radio_state& radio, std::size_t channels);
std::int64_t rrm_scan_ms(const access_point& ap);

// Begins a scan, forgetting the results of the one before. An active scan of no channels visits all of the radio's.
void start_active_scan(const access_point& ap, radio_state& radio, const std::vector<int>& channels,
                       std::int64_t now_ms);
void start_rrm_scan(const access_point& ap, radio_state& radio, int channel, std::int64_t now_ms);
// What was heard before stays.
void stop_scan(radio_state& radio, std::int64_t now_ms);
bool scan_running(const radio_state& radio, std::int64_t now_ms);

// What the radio's last scan has heard until now: the neighbours of the channels visited so far. Signal strengths vary
// from scan to scan, and weak ones are missed now and then.
std::vector<heard_bss> scan_results(const access_point& ap, const radio_state& radio, std::int64_t now_ms);

}  // namespace ravd::sim

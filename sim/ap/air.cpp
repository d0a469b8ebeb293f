#include "sim/ap/air.h"

#include <algorithm>

#include "sim/ap/noise.h"

namespace ravd::sim {
namespace {

constexpr int floor_dbm = -95;  // nothing is heard below
constexpr int weak_dbm = -88;   // below, a scan may miss it
constexpr int rssi_wobble_db = 10;

std::int64_t scaled(const access_point& ap, std::int64_t ms) {
    return static_cast<std::int64_t>(static_cast<double>(ms) / ap.start.scan_speed);
}

void begin(radio_state& radio, bool active_kind, const std::vector<int>& channels, std::int64_t duration_ms,
           std::int64_t now_ms) {
    scan_state& scan = radio.scan;
    scan.active_kind = active_kind;
    scan.channels = channels;
    scan.start_ms = now_ms;
    scan.duration_ms = duration_ms;
    scan.stop_ms = -1;
    ++scan.round;
}

// Channels of the scan that were visited to their end.
std::size_t channels_visited(const scan_state& scan, std::int64_t now_ms) {
    const std::int64_t until = scan.stop_ms >= 0 ? std::min(scan.stop_ms, now_ms) : now_ms;
    const std::int64_t elapsed = until - scan.start_ms;
    if (elapsed >= scan.duration_ms) return scan.channels.size();
    return static_cast<std::size_t>(static_cast<std::int64_t>(scan.channels.size()) * elapsed / scan.duration_ms);
}

}  // namespace

std::int64_t active_scan_ms(const access_point& ap, const radio_state& radio, std::size_t channels) {
    if (channels == 0) return scaled(ap, radio.band == 2 ? 9000 : 14000);
    return scaled(ap, static_cast<std::int64_t>(channels) * 7 / 10 * 1000);
}

std::int64_t rrm_scan_ms(const access_point& ap) { return scaled(ap, 5000); }

void start_active_scan(const access_point& ap, radio_state& radio, const std::vector<int>& channels,
                       std::int64_t now_ms) {
    const std::int64_t duration = active_scan_ms(ap, radio, channels.size());
    begin(radio, true, channels.empty() ? radio.channels : channels, duration, now_ms);
}

void start_rrm_scan(const access_point& ap, radio_state& radio, int channel, std::int64_t now_ms) {
    begin(radio, false, {channel}, rrm_scan_ms(ap), now_ms);
}

void stop_scan(radio_state& radio, std::int64_t now_ms) {
    if (scan_running(radio, now_ms)) radio.scan.stop_ms = now_ms;
}

bool scan_running(const radio_state& radio, std::int64_t now_ms) {
    const scan_state& scan = radio.scan;
    return scan.round > 0 && scan.stop_ms < 0 && now_ms - scan.start_ms < scan.duration_ms;
}

std::vector<heard_bss> scan_results(const access_point& ap, const radio_state& radio, std::int64_t now_ms) {
    std::vector<heard_bss> results;
    if (radio.scan.round == 0) return results;
    const std::size_t visited = channels_visited(radio.scan, now_ms);
    for (std::size_t c = 0; c < visited; ++c) {
        const int channel = radio.scan.channels[c];
        for (std::size_t n = 0; n < ap.start.neighbours.size(); ++n) {
            const scenario_neighbour& neighbour = ap.start.neighbours[n];
            if (neighbour.use.channel != channel || band_of(channel) != radio.band) continue;
            const std::uint32_t bits = mix({ap.start.seed, radio.scan.round, static_cast<std::uint32_t>(n), 1});
            const int rssi = neighbour.rssi + wobble(bits, rssi_wobble_db);
            const bool missed = rssi < floor_dbm || (rssi < weak_dbm && mix({bits, 2}) % 3 == 0);
            if (missed) continue;
            heard_bss heard;
            heard.bssid = neighbour.bssid;
            heard.rssi = rssi;
            heard.channel = channel;
            heard.bandwidth = neighbour.use.bandwidth;
            heard.chanspec = make_chanspec(neighbour.use).value_or(0);
            heard.power = neighbour.power;
            results.push_back(heard);
        }
    }
    return results;
}

}  // namespace ravd::sim

#include "sim/ap/air.h"

#include <algorithm>
#include <optional>

#include "sim/ap/noise.h"
#include "sim/common/building.h"

namespace ravd::sim {
namespace {

constexpr int weak_dbm = -88;        // below, a scan may miss it
constexpr int rssi_wobble_db = 10;   // from scan to scan ...
constexpr int placed_wobble_db = 4;  // ... and of who has a place, whose shadowing stays

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

// Nothing when this scan missed it.
std::optional<heard_bss> listen(const access_point& ap, const scan_state& scan, const scenario_neighbour& one) {
    const auto name = static_cast<std::uint32_t>(mac_number(one.bssid));
    const std::uint32_t bits = mix({ap.start.seed, scan.round, name, 1});
    heard_bss heard;
    heard.rssi = one.rssi + wobble(bits, one.where ? placed_wobble_db : rssi_wobble_db);
    if (heard.rssi < hearing_limit_dbm || (heard.rssi < weak_dbm && mix({bits, 2}) % 3 == 0)) return std::nullopt;
    heard.bssid = one.bssid;
    heard.channel = one.use.channel;
    heard.bandwidth = one.use.bandwidth;
    heard.chanspec = make_chanspec(one.use).value_or(0);
    heard.power = one.power;
    return heard;
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
        if (band_of(radio.scan.channels[c]) != radio.band) continue;
        for (const auto* all : {&ap.start.neighbours, &ap.nearby})
            for (const scenario_neighbour& one : *all)
                if (one.use.channel == radio.scan.channels[c])
                    if (const auto heard = listen(ap, radio.scan, one)) results.push_back(*heard);
    }
    return results;
}

}  // namespace ravd::sim

#include "sim/ap/mibs.h"

#include <algorithm>
#include <cstdlib>

#include "sim/ap/air.h"

namespace ravd::sim {
namespace {

constexpr const char* settable[] = {"rrm_scan_chan", "rrm_scan_started", "roam_attempt_timeout"};

bool is_settable(const std::string& name) {
    return std::find(std::begin(settable), std::end(settable), name) != std::end(settable);
}

// The width as the driver's "use40M" tells it.
std::int32_t width_code(std::uint32_t chanspec) {
    switch (chanspec & word_bandwidth_mask) {
        case word_40_mhz:
            return 1;
        case word_80_mhz:
            return 2;
        default:
            return 0;
    }
}

// Where the second channel lies: 1 below, 2 above the control channel.
std::int32_t second_channel_code(std::uint32_t chanspec) {
    if (width_code(chanspec) == 0) return 0;
    const bool control_is_lower = control_channel(chanspec) < static_cast<int>(chanspec & word_centre_mask);
    return control_is_lower ? 2 : 1;
}

}  // namespace

std::optional<std::int32_t> get_mib(const access_point& ap, const radio_state& radio, const std::string& ifname,
                                    const std::string& name) {
    const std::uint32_t live = ap.live_chanspec(radio);
    if (name == "chanspec") return static_cast<std::int32_t>(live);
    // Each chip has its own name for the power.
    if (name == "actual_tx_power" && radio.kind == chip_kind::rtl8192cd) return radio.power;
    if (name == "power_target" && radio.kind == chip_kind::rtk_wifi6) return radio.power;
    if (name == "use40M") return width_code(live);
    if (name == "2ndchoffset") return second_channel_code(live);
    if (!is_settable(name)) return std::nullopt;
    const auto found = radio.mibs.find(ifname + " " + name);
    return found == radio.mibs.end() ? 0 : static_cast<std::int32_t>(std::strtol(found->second.c_str(), nullptr, 10));
}

bool set_mib(radio_state& radio, const std::string& ifname, const std::string& name, const std::string& value,
             std::int64_t now_ms) {
    if (!is_settable(name) || value.empty() || value.size() > 32) return false;
    radio.mibs[ifname + " " + name] = value;
    if (name == "rrm_scan_started" && value == "0") stop_scan(radio, now_ms);
    return true;
}

}  // namespace ravd::sim

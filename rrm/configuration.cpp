#include "rrm/configuration.h"

#include <cstdio>
#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"
#include "platform/system.h"
#include "rrm/kept_text.h"

namespace ravd {
namespace {

constexpr int syslog_informational = 6;

// The driver's selector of the control sideband.
int sideband_selector(int bandwidth, const char* primary) {
    if (bandwidth != 40) return 0;
    return primary && std::strcmp(primary, "upper") == 0 ? 2 : 1;
}

}  // namespace

void configuration::apply_config(const json_reader& config) {
    const bool use_tpc = config.get_int("use-tpc") != 0;
    const bool use_dca = config.get_int("use-dca") != 0;
    use_80211v_ = config.get_int("use-80211v") != 0;
    if (config.child("use-80211r").valid()) use_80211r_ = config.get_int("use-80211r") != 0;
    log_debug(process_log, "%s corvane_use_80211r = %d\n", "apply_config", use_80211r_);

    const json_reader radios = config.child("radios");
    const std::int32_t count = radios.size();
    for (std::int32_t i = 0; i < count && !context_.progress.cancelled(); ++i) {
        context_.progress.tick();
        apply_radio(radios.at(i), use_tpc, use_dca);
    }
    context_.remove_neighbour_reports();
    apply_neighbour_list(config, false);
}

void configuration::apply_radio(const json_reader& entry, bool use_tpc, bool use_dca) {
    const std::int32_t id = entry.get_int("id");
    if (id < 0 || id >= context_.radio_count()) {
        log_error(process_log, "apply_config() Wrong id value");
        return;
    }
    const char* ifname = radio_names[static_cast<std::size_t>(id)];
    const int channel = use_dca ? entry.get_int("channel") : 0;
    int bandwidth = entry.get_int("bandwidth");
    const int power = use_tpc ? entry.get_int("power") : 0;
    const auto keeps_settings = [&](const char* why) {
        if (channel != 0 || power != 0)
            log_warning(process_log, "%s keeps its channel and power, for it %s\n", ifname, why);
    };
    if (!context_.driver.radio_up(id)) return keeps_settings("is down");
    if (!context_.driver.any_vap_active(id)) return keeps_settings("has no active VAP");
    if (use_80211v_) context_.driver.set_roam_attempt_timeout(ifname, entry.get_int("quarn-roam-attempt-timeout"));
    const char* primary = entry.get_string("primary-channel");
    if (context_.driver.radio_wds_enabled(id)) return keeps_settings("carries WDS links");
    if (power != 0) {
        context_.driver.set_tx_power(ifname, power);
        orders_.ordered_power(id, power);
    }
    if (channel != 0) {
        if (bandwidth == 0) bandwidth = 20;
        char line[80];
        std::snprintf(line, sizeof line, "Corvane requested switch channel to %d on %s", channel, ifname);
        sys::system_log(syslog_informational, line);
        context_.driver.set_channel(ifname, channel, bandwidth, sideband_selector(bandwidth, primary));
        orders_.ordered_channel(id, channel, bandwidth);
    }
}

void configuration::apply_neighbour_list(const json_reader& message, bool custom) {
    const json_reader neighbours = message.child("802dot11k");
    context_.counts.neighbours_set = 0;
    const std::int32_t count = neighbours.size();
    for (std::int32_t i = 0; i < count; ++i) {
        const json_reader neighbour = neighbours.at(i);
        if (!neighbour.get_string("neighbour-mac")) continue;
        const auto channel = static_cast<std::uint32_t>(neighbour.get_int("channel"));
        const auto priority = static_cast<std::uint32_t>(neighbour.get_int("priority"));
        const json_reader vaps = neighbour.child("vaps");
        const std::int32_t vap_count = vaps.size();
        for (std::int32_t v = 0; v < vap_count; ++v) {
            if (context_.progress.cancelled()) return;
            context_.progress.tick();
            const json_reader vap = vaps.at(v);
            const char* ssid = kept_text(vap, "ssid");
            const char* bssid = kept_text(vap, "mac");
            if (!ssid || !bssid) continue;
            context_.driver.add_neighbor(bssid, ssid, channel, priority, custom);
            ++context_.counts.neighbours_set;
        }
    }
}

}  // namespace ravd

// Scans of both radios, their results, and the channels a radio may use.
#include <algorithm>

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/converters.h"
#include "driver/driver_realtek.h"
#include "driver/ioctl_ops.h"

namespace ravd {
namespace {

constexpr std::uint32_t rrm_scan_s = 6;

const char* kind_name(bool active) { return active ? "active" : "RRM"; }

// Radio number of a scan's interface; -1, with an error of the calling step in the log, when there is none.
int scan_radio(const char* ifname, const char* function, int line) {
    const int radio = radio_index(ifname);
    if (radio < 0) log_error(process_log, "<%s:%d> cannot parse ifname(ifname == %s)\n", function, line, ifname);
    return radio;
}

}  // namespace

int driver_realtek::start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s) {
    log_info(process_log, "Attempt to start %s scanning...\n", kind_name(active));
    if (!flags() || scan_in_progress_) return 0;
    const channel_set* channels[] = {&wlan0, &wlan1};
    for (int radio = 0; radio < radio_limit; ++radio) {
        if (active)
            start_active_scan(radio_names[static_cast<std::size_t>(radio)], *channels[radio], wait_s);
        else
            start_rrm_scan(radio_names[static_cast<std::size_t>(radio)], *channels[radio], wait_s);
    }
    scan_in_progress_ = true;
    return 0;
}

int driver_realtek::stop_scan(bool active) {
    log_info(process_log, "Attempt to stop %s scanning...\n", kind_name(active));
    if (!hostapd_running_ || !scan_in_progress_) return 0;
    for (int radio = 0; radio < radio_limit; ++radio) {
        const char* radio_name = radio_names[static_cast<std::size_t>(radio)];
        if (active)
            stop_active_scan(radio_name);
        else
            stop_rrm_scan(radio_name);
    }
    scan_in_progress_ = false;
    return 0;
}

void driver_realtek::stop_all() {
    if (!hostapd_running_) return;
    for (int radio = 0; radio < radio_limit; ++radio)
        unblock_all_sta(radio_names[static_cast<std::size_t>(radio)]);
    stop_scan(true);
    stop_scan(false);
}

bool driver_realtek::may_scan(std::int32_t radio) { return radio_up(radio) && !radio_wds_enabled(radio); }

int driver_realtek::start_active_scan(const char* radio_name, const channel_set& channels, std::uint32_t& wait_s) {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    if (!may_scan(radio)) return 0;
    const auto ops = back_end(radio_name);
    ops->stop_active_scan();
    const std::uint32_t count = scan_channel_count(channels);
    if (count == 0)
        wait_s = std::max(wait_s, band_of_chanspec(get_chanspec(radio_name)) == 2 ? 10u : 15u);
    else
        wait_s = std::max(wait_s, count * 7 / 10 + 1);
    return ops->start_active_scan(channels) < 0 ? -1 : 0;
}

int driver_realtek::start_rrm_scan(const char* radio_name, const channel_set& channels, std::uint32_t& wait_s) {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    // Without a channel there is nothing to scan, and nothing to wait for.
    if (!may_scan(radio) || channels.empty()) return 0;
    const auto ops = back_end(radio_name);
    ops->stop_rrm_scan(radio_name);
    wait_s = std::max(wait_s, rrm_scan_s);
    return ops->start_rrm_scan(*channels.begin(), radio_name) < 0 ? -1 : 0;
}

int driver_realtek::stop_active_scan(const char* radio_name) {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    if (radio_up(radio)) back_end(radio_name)->stop_active_scan();
    return 0;
}

int driver_realtek::stop_rrm_scan(const char* radio_name) {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    if (radio_up(radio)) back_end(radio_name)->stop_rrm_scan(radio_name);
    return 0;
}

int driver_realtek::collect_results(ap_table& table, bool rrm) {
    table.clear();
    for (int radio = 0; radio < radio_limit; ++radio) {
        if (!may_scan(radio)) continue;
        const auto ops = back_end(radio_names[static_cast<std::size_t>(radio)]);
        if ((rrm ? ops->get_rrm_scan_results(table) : ops->get_scan_results(table)) < 0) return -1;
    }
    return 0;
}

int driver_realtek::fill_scan_results(ap_table& table) {
    log_info(process_log, "Attempt to fill a scanning result table...\n");
    return collect_results(table, false);
}

int driver_realtek::fill_rrm_scan_results(ap_table& table) {
    log_info(process_log, "Attempt to fill a rrm scanning result table...\n");
    return collect_results(table, true);
}

void driver_realtek::fill_chanspecs(const char* radio_name, std::string& text) {
    if (!radio_name || !may_scan(radio_index(radio_name))) return;
    channel_set channels;
    if (back_end(radio_name)->get_available_channels(channels) < 0) return;
    if (getconf_radio(radio_name, "use-limit-channels", parse_boolean).value_or(false)) {
        auto limit = getconf_radio(radio_name, "limit-channels", parse_channel_list);
        if (limit) channels = std::move(*limit);
    }
    text.clear();
    for (const std::uint32_t channel : channels)
        text.append(std::to_string(channel)).append(" ");
    log_debug(process_log, "<%s:%d> chanspecs == %s\n", __func__, __LINE__, text.c_str());
}

}  // namespace ravd

#include "driver/radio_scans.h"

#include <algorithm>

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/chanspec.h"

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

int radio_scans::start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s) {
    log_info(process_log, "Attempt to start %s scanning...\n", kind_name(active));
    if (!context_.radios.flags() || scan_in_progress_) return 0;
    const channel_set* channels[] = {&wlan0, &wlan1};
    ends_are_told_ = true;
    for (std::size_t radio = 0; radio < radio_limit; ++radio) {
        if (active)
            start_active_scan(radio_names[radio], {*channels[radio], wlan0.empty() && wlan1.empty()}, wait_s);
        else
            rrm_began_[radio] = start_rrm_scan(radio_names[radio], *channels[radio], wait_s);
    }
    scan_in_progress_ = true;
    return 0;
}

int radio_scans::stop_scan(bool active) {
    log_info(process_log, "Attempt to stop %s scanning...\n", kind_name(active));
    if (!context_.radios.hostapd_running() || !scan_in_progress_) return 0;
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

int radio_scans::start_active_scan(const char* radio_name, const scan_order& order, std::uint32_t& wait_s) {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    if (!context_.radios.may_scan(radio)) return 0;
    const auto ops = context_.back_end_of(radio_name);
    ops->stop_active_scan();
    std::optional<std::uint32_t> needed_s = ops->active_scan_s(order);
    if (!needed_s) needed_s = band_of_chanspec(channels_.get_chanspec(radio_name)) == 2 ? 10 : 15;
    wait_s = std::max(wait_s, *needed_s);
    if (ops->start_active_scan(order) < 0) return -1;
    ends_are_told_ &= ops->tells_scan_end();
    return 0;
}

bool radio_scans::start_rrm_scan(const char* radio_name, const channel_set& channels, std::uint32_t& wait_s) {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    // Without a channel there is nothing to scan, and nothing to wait for.
    if (radio < 0 || !context_.radios.may_scan(radio) || channels.empty()) return false;
    const auto ops = context_.back_end_of(radio_name);
    ops->stop_rrm_scan();
    wait_s = std::max(wait_s, rrm_scan_s);
    if (ops->start_rrm_scan(*channels.begin()) != 0) return false;
    ends_are_told_ &= ops->tells_scan_end();
    return true;
}

int radio_scans::stop_active_scan(const char* radio_name) const {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    if (context_.radios.radio_up(radio)) context_.back_end_of(radio_name)->stop_active_scan();
    return 0;
}

int radio_scans::stop_rrm_scan(const char* radio_name) const {
    const int radio = scan_radio(radio_name, __func__, __LINE__);
    if (radio < 0) return -1;
    if (context_.radios.radio_up(radio)) context_.back_end_of(radio_name)->stop_rrm_scan();
    return 0;
}

int radio_scans::fill_scan_results(ap_table& table) const {
    log_info(process_log, "Attempt to fill a scanning result table...\n");
    table.clear();
    for (int radio = 0; radio < radio_limit; ++radio) {
        if (!context_.radios.may_scan(radio)) continue;
        const char* name = radio_names[static_cast<std::size_t>(radio)];
        if (context_.back_end_of(name)->get_scan_results(table) < 0) return -1;
    }
    return 0;
}

int radio_scans::fill_rrm_scan_results(ap_table& table) const {
    log_info(process_log, "Attempt to fill a rrm scanning result table...\n");
    table.clear();
    for (int radio = 0; radio < radio_limit; ++radio) {
        // A radio that was not scanned would give the results of an earlier scan.
        const auto index = static_cast<std::size_t>(radio);
        if (!rrm_began_[index] || !context_.radios.may_scan(radio)) continue;
        if (context_.back_end_of(radio_names[index])->get_rrm_scan_results(table) < 0) return -1;
    }
    return 0;
}

}  // namespace ravd

#include "driver/nl80211/radio_memory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/logger.h"
#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd {
namespace {

// Where hostapd's sockets lie, as its pid file does.
constexpr const char* hostapd_sockets = "/var/run/hostapd";

}  // namespace

vap_memory::vap_memory(const std::string& name) : hostapd(name, sys::device_path(hostapd_sockets)) {}

nl80211_port* radio_memory::port() {
    if (port_) return port_.get();
    port_ = open_();
    if (!port_)
        log_error(process_log, "<%s:%d> cannot speak nl80211 with the kernel(errno = %s)\n", __func__, __LINE__,
                  std::strerror(errno));
    return port_.get();
}

vap_memory& radio_memory::vap(const std::string& name) { return vaps_.try_emplace(name, name).first->second; }

int radio_memory::event_descriptor() { return port_ ? port_->event_descriptor() : -1; }

void radio_memory::take_events() {
    const int descriptor = event_descriptor();
    if (descriptor < 0 || sys::wait_readable(descriptor, 0) != 1) return;
    const auto take = [this](const wireless_notice& notice) {
        const bool end = notice.event == wireless_event::scan_finished || notice.event == wireless_event::scan_aborted;
        for (auto& [radio, scan] : scans_) {
            if (scan.over || scan.interface != notice.interface) continue;
            if (notice.event == wireless_event::scan_started) scan.started = true;
            if (!(end && scan.started) && notice.event != wireless_event::interface_removed) continue;
            scan.over = true;
            const auto took_ms = static_cast<int>(monotonic_ms() - scan.began_ms);
            if (notice.event == wireless_event::scan_finished)
                log_info(process_log, "%s: %zu channels scanned in %d ms\n", radio.c_str(), scan.channels.size(),
                         took_ms);
            else if (scan.stopped)
                log_info(process_log, "%s: the scan was stopped after %d ms\n", radio.c_str(), took_ms);
            else
                log_warning(process_log, "%s: the scan was broken off after %d ms\n", radio.c_str(), took_ms);
        }
    };
    port_->read_events(take);
}

bool radio_memory::scans_over() const {
    const auto any = [](const auto& one) { return one.second.began; };
    const auto over = [](const auto& one) { return one.second.over; };
    return std::any_of(scans_.begin(), scans_.end(), any) && std::all_of(scans_.begin(), scans_.end(), over);
}

}  // namespace ravd

// Scans on the service's order and the report of what they heard.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/logger.h"
#include "platform/system.h"
#include "rrm/json.h"
#include "rrm/rrm_worker.h"

namespace ravd {
namespace {

constexpr int syslog_informational = 6;
constexpr std::int32_t longest_delay_s = 1000000;
constexpr long first_5g_channel = 36;
constexpr long channel_limit = 65536;  // a scan order has 16 bits for each

void add_heard_bss(json_writer& round, const scan_record& bss, const char* sideband) {
    char bssid[18];
    const auto& o = bss.bssid;
    std::snprintf(bssid, sizeof bssid, "%02x:%02x:%02x:%02x:%02x:%02x", o[0], o[1], o[2], o[3], o[4], o[5]);
    json_writer object(false, round, nullptr);
    object.add_string("bssid", bssid);
    object.add_int("rssi", bss.rssi);
    object.add_int("channel", static_cast<std::int32_t>(bss.channel));
    object.add_int("tx-power", bss.tx_power);
    object.add_string("primary-channel", sideband);
    object.add_int("bandwidth", static_cast<std::int32_t>(bss.bandwidth));
}

}  // namespace

void rrm_worker::process_rrm_update(const json_reader& message) {
    log_debug(process_log, "process_rrm_update:\n");
    const std::int32_t delay = std::clamp(message.get_int("rrm-scan-delay"), 0, longest_delay_s);
    const bool rrm_scanning = message.get_int("quarn-rrm-scanning") != 0;
    active_scan_ = !rrm_scanning;
    response_delay_ = rrm_scanning ? delay : 0;
    const char* channels = message.get_string("rrm-scan-channels");
    parse_scan_channels(channels ? channels : "");
    remove_timers(timer_launch_scan);
    remove_timers(timer_scan_finished);
    if (delay < 1)
        launch_scan();
    else
        arm(timer_launch_scan, delay);
}

// Pieces between single blanks; one that is not a number counts as 0. Numbers that no scan order can carry are left
// out, so that a hostile list cannot grow the sets.
void rrm_worker::parse_scan_channels(const char* text) {
    scan_channels_2g_.clear();
    scan_channels_5g_.clear();
    std::uint32_t pieces = 0;
    while (*text != '\0') {
        // strtol alone would look for a number in later pieces, each time to the end of a long run of white space.
        while (*text != ' ' && std::isspace(static_cast<unsigned char>(*text)))
            ++text;
        const long number = *text == ' ' ? 0 : std::strtol(text, nullptr, 10);
        const char* blank = std::strchr(text, ' ');
        if (number >= 0 && number < channel_limit)
            (number < first_5g_channel ? scan_channels_2g_ : scan_channels_5g_)
                .insert(static_cast<std::uint32_t>(number));
        if (++pieces % 4096 == 0) progress().tick();
        if (!blank) break;
        text = blank + 1;
    }
}

void rrm_worker::launch_scan() {
    driver_.stop_scan(true);
    start_round(active_scan_);
    scan_round_ = 0;
}

// Every start has its timer: without one a scan would go on for good, and with it the deferring of messages.
void rrm_worker::start_round(bool active) {
    sys::system_log(syslog_informational, "Started scan by corvane");
    std::uint32_t duration_s = 0;
    driver_.start_scan(active, scan_channels_2g_, scan_channels_5g_, duration_s);
    remove_timers(timer_scan_finished);
    arm(timer_scan_finished, duration_s);
}

void rrm_worker::scan_finished() {
    log_debug(process_log, "scan_finished\n");
    driver_.stop_scan(true);
    if (active_scan_) {
        // A timer of an earlier scan cannot be left over, but a round beyond the table must not be written either.
        driver_.fill_scan_results(scan_results_[std::min(scan_round_, scan_rounds - 1)]);
        if (++scan_round_ < scan_rounds) {
            start_round(true);
            return;
        }
    } else {
        driver_.fill_rrm_scan_results(scan_results_[0]);
        if (response_delay_ != 0) {
            arm(timer_rrm_response, response_delay_);
            return;
        }
    }
    send_rrm_response();
    clear_scan_results();
}

void rrm_worker::rrm_response_due() {
    remove_timers(timer_rrm_response);
    send_rrm_response();
    clear_scan_results();
}

void rrm_worker::send_rrm_response() {
    if (!driver_.is_hostapd_running()) {
        log_debug(process_log, "Not sending rrm-response because hostapd is not running\n");
        return;
    }
    json_writer message("rrm", "rrm-response", driver_.get_base_mac());
    message.add_string("domain", domain_.c_str());
    add_radios(message);
    {
        json_writer environment(true, message, "rf-environment");
        for (const ap_table& heard : scan_results_) {
            if (heard.empty()) continue;
            progress().tick();
            json_writer round(true, environment, nullptr);
            for (const scan_record& bss : heard)
                add_heard_bss(round, bss, driver_.sideband_name(bss.sideband, bss.bandwidth));
        }
    }
    send_json(to_service_, message);
}

}  // namespace ravd

#include "rrm/scan_session.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/logger.h"
#include "driver/chanspec.h"
#include "message/mac_addr.h"
#include "message/status_page.h"
#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr int syslog_informational = 6;
constexpr std::int32_t longest_delay_s = 1000000;
constexpr long first_5g_channel = 36;
constexpr std::size_t entries_a_tick = 256;
constexpr long channel_limit = 65536;  // a scan order has 16 bits for each

void add_heard_bss(json_writer& round, const scan_record& bss, const char* sideband) {
    json_writer object(false, round, nullptr);
    object.add_string("bssid", MacAddr{bss.bssid}.to_lower().c_str());
    object.add_int("rssi", bss.rssi);
    object.add_int("channel", static_cast<std::int32_t>(bss.channel));
    object.add_int("tx-power", bss.tx_power);
    object.add_string("primary-channel", sideband);
    object.add_int("bandwidth", static_cast<std::int32_t>(bss.bandwidth));
}

void drop(scan_session::round_tables& tables) {
    for (ap_table& round : tables)
        round.clear();
}

}  // namespace

void scan_session::process_rrm_update(const json_reader& message) {
    log_debug(process_log, "process_rrm_update:\n");
    const std::int32_t delay = std::clamp(message.get_int("rrm-scan-delay"), 0, longest_delay_s);
    const bool rrm_scanning = message.get_int("quarn-rrm-scanning") != 0;
    active_scan_ = !rrm_scanning;
    response_delay_ = rrm_scanning ? delay : 0;
    const char* channels = message.get_string("rrm-scan-channels");
    parse_scan_channels(channels ? channels : "");
    context_.timers.cancel(timer_launch_scan);
    context_.timers.cancel(timer_scan_finished);
    if (delay < 1)
        launch_scan();
    else
        context_.timers.arm(timer_launch_scan, delay);
}

// Pieces between single blanks; one that is not a number counts as 0. Numbers that no scan order can carry are left
// out, so that a hostile list cannot grow the sets.
void scan_session::parse_scan_channels(const char* text) {
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
        if (++pieces % 4096 == 0) context_.progress.tick();
        if (!blank) break;
        text = blank + 1;
    }
}

void scan_session::launch_scan() {
    context_.driver.stop_scan(true);
    drop(scan_results_);  // rounds of a scan that was given up
    start_round(active_scan_);
    scan_round_ = 0;
}

// Every start has its timer: without one a scan would go on for good, and with it the deferring of messages.
void scan_session::start_round(bool active) {
    sys::system_log(syslog_informational, "Started scan by corvane");
    std::uint32_t duration_s = 0;
    context_.driver.start_scan(active, scan_channels_2g_, scan_channels_5g_, duration_s);
    context_.timers.cancel(timer_scan_finished);
    context_.timers.arm(timer_scan_finished, duration_s);
}

void scan_session::scan_finished() {
    log_debug(process_log, "scan_finished\n");
    context_.memory.used();
    context_.driver.stop_scan(true);
    if (active_scan_) {
        // A timer of an earlier scan cannot be left over, but a round beyond the table must not be written either.
        context_.driver.fill_scan_results(scan_results_[std::min(scan_round_, scan_rounds - 1)]);
        if (++scan_round_ < scan_rounds) {
            start_round(true);
            return;
        }
    } else {
        context_.driver.fill_rrm_scan_results(scan_results_[0]);
        if (response_delay_ != 0) {
            delayed_results_.swap(scan_results_[0]);
            context_.timers.arm(timer_rrm_response, response_delay_);
            return;
        }
    }
    send_rrm_response();
    drop(scan_results_);
}

void scan_session::look_for_end() {
    if (!context_.driver.scan_over()) return;
    context_.timers.cancel(timer_scan_finished);
    scan_finished();
}

void scan_session::rrm_response_due() {
    context_.timers.cancel(timer_rrm_response);
    report_rounds(&delayed_results_, 1);
    delayed_results_.clear();
}

void scan_session::report_rounds(const ap_table* rounds, std::size_t count) {
    if (!context_.driver.is_hostapd_running()) {
        log_debug(process_log, "Not sending rrm-response because hostapd is not running\n");
        return;
    }
    agent_message message(context_, "rrm-response");
    report_.add_radios(message);
    {
        json_writer environment(true, message, "rf-environment");
        for (std::size_t i = 0; i < count; ++i)
            if (!rounds[i].empty()) add_round(environment, rounds[i]);
    }
    context_.send(message);
    reported_ms_ = monotonic_ms();
    reported_entries_ = 0;
    for (std::size_t i = 0; i < count; ++i)
        reported_entries_ += rounds[i].size();
}

void scan_session::add_round(json_writer& environment, const ap_table& heard) {
    json_writer round(true, environment, nullptr);
    std::size_t written = 0;
    for (const scan_record& bss : heard) {
        if (written++ % entries_a_tick == 0) context_.progress.tick();
        add_heard_bss(round, bss, sideband_name(bss.sideband, bss.bandwidth));
    }
    if (heard.size() > entries_a_tick) context_.memory.large_freed();
}

void scan_session::stop() {
    if (context_.driver.is_scanning()) context_.driver.stop_scan(active_scan_);
}

void scan_session::describe(status_page& page) const {
    const bool running = context_.driver.is_scanning();
    page.flag("running", running);
    if (running) page.text("kind", active_scan_ ? "active" : "rrm");
    if (running && active_scan_) page.number("round", scan_round_ + 1);
    if (reported_ms_ == 0) return;
    page.number("reported_entries", static_cast<std::int64_t>(reported_entries_));
    page.number("reported_s", (monotonic_ms() - reported_ms_) / 1000);
}

void scan_session::clear_results() {
    drop(scan_results_);
    delayed_results_.clear();
}

}  // namespace ravd

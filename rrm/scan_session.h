// Scans on the service's order and the report of what they heard.
#pragma once

#include <array>

#include "rrm/agent_context.h"
#include "rrm/radio_report.h"

namespace ravd {

class status_page;

class scan_session {
  public:
    static constexpr std::uint32_t scan_rounds = 5;
    using round_tables = std::array<ap_table, scan_rounds>;

    scan_session(agent_context& context, radio_report& report) : context_(context), report_(report) {}

    // "rrm-update": an order to scan, at once or after its delay.
    void process_rrm_update(const json_reader& message);
    // Timer 0.
    void launch_scan();
    // Timer 1: a round's time is up.
    void scan_finished();
    // Looks whether the driver knows a round to be over before that.
    void look_for_end();
    // Timer 3: the delayed report of an RRM scan.
    void rrm_response_due();

    // Reports what the rounds heard.
    void send_rrm_response() { report_rounds(scan_results_.data(), scan_results_.size()); }
    round_tables& results() { return scan_results_; }

    // Ends a scan in progress without a report.
    void stop();
    void clear_results();
    // The scan in progress, and the last report.
    void describe(status_page& page) const;

  private:
    void parse_scan_channels(const char* text);
    void start_round(bool active);
    void report_rounds(const ap_table* rounds, std::size_t count);
    void add_round(json_writer& environment, const ap_table& heard);

    agent_context& context_;
    radio_report& report_;
    channel_set scan_channels_2g_;
    channel_set scan_channels_5g_;
    std::uint32_t scan_round_ = 0;
    round_tables scan_results_;  // of the scan in progress
    ap_table delayed_results_;   // of an RRM scan whose report waits
    std::size_t reported_entries_ = 0;
    std::int64_t reported_ms_ = 0;     // of the monotonic clock; 0: no report yet
    bool active_scan_ = false;         // five rounds; else a single RRM round
    std::int32_t response_delay_ = 0;  // seconds between an RRM scan and its report
};

}  // namespace ravd

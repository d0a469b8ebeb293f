// Scans of both radios, and their results. One scan at a time, of either kind.
#pragma once

#include <array>

#include "driver/radio_channels.h"

namespace ravd {

class radio_scans {
  public:
    radio_scans(const driver_context& context, const radio_channels& channels)
        : context_(context), channels_(channels) {}

    bool is_scanning() const { return scan_in_progress_; }
    // Whether there is a scan, and every radio that takes part tells the end of its own.
    bool ends_are_told() const { return scan_in_progress_ && ends_are_told_; }
    // As driver_interface has them.
    int start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s);
    int stop_scan(bool active);
    int fill_scan_results(ap_table& table) const;
    int fill_rrm_scan_results(ap_table& table) const;

  private:
    // For one radio: 0, or -1; the start of an RRM scan tells whether it began.
    int start_active_scan(const char* radio_name, const scan_order& order, std::uint32_t& wait_s);
    int stop_active_scan(const char* radio_name) const;
    bool start_rrm_scan(const char* radio_name, const channel_set& channels, std::uint32_t& wait_s);
    int stop_rrm_scan(const char* radio_name) const;

    const driver_context& context_;
    const radio_channels& channels_;
    bool scan_in_progress_ = false;
    bool ends_are_told_ = false;
    std::array<bool, radio_limit> rrm_began_{};  // at the last RRM scan
};

}  // namespace ravd

// What is asked of the Wi-Fi driver of one interface, whatever kind of driver it is.
//
// A back-end is made for an interface and a single operation. Results: 0 success, or below 0: then nothing came, and
// the reason is in the log. What can take long reports to the activity that the back-end was made with, and is refused
// once that is cancelled. No operation throws.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/activity.h"
#include "driver/records.h"

namespace ravd {

// An entry of an 802.11k list.
struct neighbour_entry {
    std::array<std::uint8_t, 6> bssid;
    std::string ssid;
    std::uint32_t channel;
    std::array<int, 2> bss_load;
    int operating_class;
    std::uint32_t priority;
    bool custom;  // which of the two lists
};

// What an active scan is to listen on, for one radio.
struct scan_order {
    const channel_set& channels;
    bool whole;  // no radio was given a channel: all of all bands are meant
};

class back_end {
  public:
    back_end() = default;
    back_end(const back_end&) = delete;
    back_end& operator=(const back_end&) = delete;
    virtual ~back_end() = default;

    // Scans, on a radio. An active scan of no channel is one of all, unless only other radios were given channels and
    // this one can do without. Results are those of the last scan of the kind, a stopped one included, and are
    // appended.
    virtual int start_active_scan(const scan_order& order) = 0;
    virtual int stop_active_scan() = 0;
    virtual int get_scan_results(ap_table& table) = 0;
    virtual int start_rrm_scan(std::uint32_t channel) = 0;
    virtual int stop_rrm_scan() = 0;
    virtual int get_rrm_scan_results(ap_table& table) = 0;
    // Seconds until the results of an active scan are worth fetching, at the latest; 0 when there is nothing to wait
    // for. Nothing means as long as its band has channels.
    virtual std::optional<std::uint32_t> active_scan_s(const scan_order& order) const = 0;
    // Whether the source of this back-end learns when a scan ends (see scans_over); else only time tells.
    virtual bool tells_scan_end() const { return false; }

    // What a radio may use and what it does use; 0 beside a failure.
    virtual int get_available_channels(channel_set& channels) = 0;
    virtual int get_chanspec(std::uint32_t& chanspec) = 0;
    virtual int get_tx_power(std::uint32_t& power) = 0;
    virtual bool get_obss_coex() = 0;

    // Stations of a VAP, appended; SSID and interface name are the caller's to fill.
    virtual int get_assoc_stas(std::vector<rrm_sta_s>& stations) = 0;
    virtual int send_bss_trans_req(const char* sta_mac) = 0;
    virtual int set_quarn_roam_attempt_timeout(int timeout) = 0;

    // 802.11k lists of a VAP.
    virtual int add_neighbor(const neighbour_entry& neighbour) = 0;
    virtual int del_neighbors() = 0;
    virtual int del_custom_neighbors() = 0;
    // Commands of this back-end that ran into their time limit.
    virtual int hung_commands() const { return 0; }
    // From here on a list is changed without telling hostapd, where there is a way without it.
    virtual void spare_hostapd() {}
};

// Makes back-ends, and owns what a kind of driver has to remember between two operations. Outlives the driver.
class back_end_source {
  public:
    // Never null. `progress` may be null and outlives the back-end.
    virtual std::unique_ptr<back_end> back_end_of(activity* progress, const char* ifname) = 0;

    // For kinds of driver that tell the end of a scan. The descriptor is readable while there is something to look at,
    // may be another at each call, and is -1 where there is none.
    virtual int event_descriptor() { return -1; }
    // Looks at what there is, without waiting. Whether scans were begun whose end is told, and none of them goes on.
    virtual bool scans_over() { return false; }

  protected:
    ~back_end_source() = default;
};

}  // namespace ravd

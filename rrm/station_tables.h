// Stations that are probed for the service, and those that are blocked for a while.
#pragma once

#include <unordered_map>
#include <vector>

#include "message/mac_addr.h"
#include "rrm/agent_context.h"

namespace ravd {

// A station that is probed.
struct sta_prob_info {
    std::int32_t rssi = 0;       // dBm; 0 while not known
    std::int32_t countdown = 0;  // seconds until it is reported
    std::uint32_t vap = 0;       // index on its radio
};

// Timers 4 and 6 count the tables down, a second at a time, while they have entries. Nothing adds entries yet, for no
// driver blocks or probes stations: whoever does arms the timer as well.
class station_tables {
  public:
    using probe_table = std::unordered_map<MacAddr, sta_prob_info, mac_addr_hash>;
    using blocked_table = std::unordered_map<MacAddr, std::int32_t, mac_addr_hash>;  // seconds left

    explicit station_tables(agent_context& context);

    // Of one radio, below the number of radios.
    probe_table& probes(std::size_t radio) { return probe_tables_[radio]; }
    blocked_table& blocked(std::size_t radio) { return blocked_tables_[radio]; }

    // Timer 4: reports the probed stations whose time is up.
    void post_rrm_probe_response();
    // Timer 6: releases the blocked stations whose time is up.
    void count_blocked_down();
    void clear();

  private:
    bool count_probe_entries_down(bool& due);
    bool add_expired_probes(json_writer& radios, std::size_t radio);

    agent_context& context_;
    std::vector<probe_table> probe_tables_;      // one per radio
    std::vector<blocked_table> blocked_tables_;  // one per radio
};

}  // namespace ravd

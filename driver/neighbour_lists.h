// 802.11k neighbour lists of the VAPs.
#pragma once

#include "driver/driver_context.h"

namespace ravd {

// A list is a sequence of additions behind deletions. After two commands of one list that ran into their limit the rest
// of it does without hostapd: with two seconds an entry a long list would keep the agent away for hours.
class neighbour_lists {
  public:
    explicit neighbour_lists(const driver_context& context) : context_(context) {}

    // As driver_interface has them.
    void add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority, bool custom);
    void del_neighbors(const char* ifname);
    void del_custom_neighbors(const char* ifname);

  private:
    void begin_list();
    // A back-end that knows whether hostapd is to be spared, and what became of its commands.
    std::unique_ptr<back_end> back_end_for_list(const char* ifname) const;
    void count_hung(const back_end& ops);

    const driver_context& context_;
    bool adding_ = false;
    int hung_commands_ = 0;          // of this list
    std::int64_t last_hung_ms_ = 0;  // monotonic
};

}  // namespace ravd

// 802.11k neighbour lists of the VAPs.
#pragma once

#include "driver/driver_context.h"

namespace ravd {

class neighbour_lists {
  public:
    explicit neighbour_lists(const driver_context& context) : context_(context) {}

    // As driver_interface has them.
    void add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                      bool custom) const;
    void del_neighbors(const char* ifname) const;
    void del_custom_neighbors(const char* ifname) const;

  private:
    const driver_context& context_;
};

}  // namespace ravd

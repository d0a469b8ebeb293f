// The rtk_wifi6 driver: its variables go through the program iwpriv, and hostapd has a neighbour list of its own. Names
// that are not plainly "wlan%d" or "wlan%d-va%d" reach no command: what needs one then fails as if it could not start.
#pragma once

#include "driver/realtek/ioctl_ops.h"

namespace ravd {

class rtk_wifi6_ioctl_ops final : public ioctl_ops {
  public:
    rtk_wifi6_ioctl_ops(activity* progress, const char* ifname);

    int set_mib(const char* name, const char* value) override;  // always 0
    int get_mib(const char* name, std::uint32_t& output) override;
    int get_tx_power(std::uint32_t& output) override;
    bool get_obss_coex() override;
    int add_neighbor(const neighbour_entry& neighbour) override;
    int del_neighbors() override;
    void spare_hostapd() override { hostapd_spared_ = true; }

  private:
    std::uint32_t octet_mib(const char* name);
    bool tell_hostapd(const neighbour_entry& neighbour);

    bool hostapd_spared_ = false;
};

}  // namespace ravd

// The rtl8192cd driver: its variables go through ioctls, its 802.11k lists through files.
#pragma once

#include "driver/realtek/ioctl_ops.h"

namespace ravd {

class rtl8192cd_ioctl_ops final : public ioctl_ops {
  public:
    rtl8192cd_ioctl_ops(activity* progress, const char* ifname);

    int set_mib(const char* name, const char* value) override;
    int get_mib(const char* name, std::uint32_t& output) override;
    int get_tx_power(std::uint32_t& output) override;
    bool get_obss_coex() override;
    int add_neighbor(const neighbour_entry& neighbour) override;
    int del_neighbors() override;
};

}  // namespace ravd

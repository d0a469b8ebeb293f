// The two kinds of chip back-end, for ioctl_ops::assign alone.
#pragma once

#include <string>

#include "driver/ioctl_ops.h"

namespace ravd {

// The rtl8192cd driver: its variables go through ioctls.
class rtl8192cd_ioctl_ops final : public ioctl_ops {
  public:
    rtl8192cd_ioctl_ops(const ipc_helper& owner, const char* ifname, int sock);

    int set_mib(const char* name, const char* value, const char* ifname) override;
    int get_mib(const char* name, std::uint32_t& output, const char* ifname) override;
    int get_tx_power(std::uint32_t& output, const char* ifname) override;
    int add_neighbor(const char* ifname, const neighbor_entry& neighbor) override;
    int del_neighbors(const char* ifname) override;
    bool get_obss_coex(const char* ifname) override;
};

// The rtk_wifi6 driver: its variables go through the program iwpriv, and hostapd has a neighbour list of its own. Names
// that are not plainly "wlan%d" or "wlan%d-va%d" reach no command: what needs one then fails as if it could not start.
class g6_ioctl_ops final : public ioctl_ops {
  public:
    g6_ioctl_ops(const ipc_helper& owner, const char* ifname, int sock);

    int set_mib(const char* name, const char* value, const char* ifname) override;  // always 0
    int get_mib(const char* name, std::uint32_t& output, const char* ifname) override;
    int get_tx_power(std::uint32_t& output, const char* ifname) override;
    int add_neighbor(const char* ifname, const neighbor_entry& neighbor) override;
    int del_neighbors(const char* ifname) override;
    bool get_obss_coex(const char* ifname) override;

  private:
    std::uint32_t octet_mib(const char* name, const char* ifname);
    bool tell_hostapd(const char* ifname, const neighbor_entry& neighbor);
};

}  // namespace ravd

// Associated stations, and what is asked of the driver for them.
#pragma once

#include "driver/driver_context.h"
#include "driver/driver_interface.h"

namespace ravd {

class radio_stations {
  public:
    explicit radio_stations(const driver_context& context) : context_(context) {}

    // As driver_interface has them.
    int get_assoc_stas(const char* ifname, driver_interface::station_callback callback) const;
    void send_bss_trans_req(const char* ifname, const char* sta_mac) const;
    int set_roam_attempt_timeout(const char* ifname, int timeout) const;

  private:
    const driver_context& context_;
};

}  // namespace ravd

// Channel and power of the radios: what they are, what they may be, and orders to the network daemon.
#pragma once

#include "driver/radio_settings.h"

namespace ravd {

class radio_channels {
  public:
    radio_channels(const driver_context& context, const radio_settings& settings)
        : context_(context), settings_(settings) {}

    std::uint32_t get_chanspec(const char* ifname) const;  // else 0
    int get_tx_power(const char* radio_name) const;        // else 16
    bool get_obss_coex(const char* radio_name) const;
    void fill_chanspecs(const char* radio_name, std::string& text) const;

    // 0, or -1 when the network daemon does not obey.
    int set_channel(const char* radio_name, int channel, int bandwidth, int sideband) const;
    int set_tx_power(const char* radio_name, int power) const;
    // Drops the service's settings of both radios.
    void reset_corvane() const;

  private:
    const driver_context& context_;
    const radio_settings& settings_;
};

}  // namespace ravd

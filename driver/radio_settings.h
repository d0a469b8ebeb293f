// Settings of radios and VAPs, as the configuration has them now.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "driver/driver_context.h"

namespace ravd {

// Texts of the configuration are converted by functions (const interface_context*, const std::string&) -> optional. The
// context is that of the radio the interface belongs to.
class radio_settings {
  public:
    explicit radio_settings(const driver_context& context) : context_(context) {}

    // A setting, converted; nothing when it cannot be read.
    template <typename Convert>
    auto getconf_radio(const char* ifname, const char* key, Convert convert) const
        -> decltype(convert(nullptr, std::string())) {
        std::string text;
        if (!read_radio_value(ifname, key, text)) return std::nullopt;
        return convert(context_.radios.table().radio_by_ifname(ifname), text);
    }
    template <typename Convert>
    auto getconf_vap(const char* ifname, const char* key, Convert convert) const
        -> decltype(convert(nullptr, std::string())) {
        std::string text;
        if (!read_vap_value(ifname, key, text)) return std::nullopt;
        return convert(context_.radios.table().radio_by_ifname(ifname), text);
    }

    bool get_wds_enabled(const char* radio_name) const;
    bool is_ft_enabled(std::int32_t radio, std::int32_t vap) const;
    // Chanspec bits; 0x1000 when not configured.
    std::uint32_t get_config_bandwidth(const char* radio_name) const;
    std::uint32_t get_config_sideband(const char* radio_name) const;
    // Of the first radio of a band; 11 and 16 unless both are configured.
    void get_min_max_tx_power(const char* country, std::uint32_t* min, std::uint32_t* max, std::uint32_t band) const;

  private:
    bool read_radio_value(const char* ifname, const char* key, std::string& text) const;
    bool read_vap_value(const char* ifname, const char* key, std::string& text) const;

    const driver_context& context_;
};

}  // namespace ravd

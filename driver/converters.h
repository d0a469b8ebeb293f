// Converters of configuration texts, for getconf_radio and getconf_vap. Each takes the context of the radio that the
// interface belongs to (null when there is none) and the text; nothing means that the text says nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "driver/radio_table.h"
#include "driver/records.h"

namespace ravd {

// The number at the start of a text; nothing when there is none, or a negative one.
std::optional<std::uint32_t> parse_number(const interface_context*, const std::string& text);
// True exactly for "true".
std::optional<bool> parse_boolean(const interface_context*, const std::string& text);
// At most 129 bytes of it.
std::optional<std::string> parse_ssid(const interface_context*, const std::string& text);
// Whether a security mode authenticates by 802.1X.
std::optional<bool> parse_enterprise(const interface_context*, const std::string& text);
// Whether a security mode allows fast transition.
std::optional<bool> parse_wpa2_wpa3(const interface_context*, const std::string& text);
// Channels separated by blanks. What is no channel number is skipped, so a text may name none; nothing for an empty
// one.
std::optional<channel_set> parse_channel_list(const interface_context*, const std::string& text);
// Bandwidth in MHz and name of a sideband, as chanspec bits. Others are logged as errors of the radio.
std::optional<std::uint32_t> get_config_bandwidth_cb(const interface_context* radio, const std::string& text);
std::optional<std::uint32_t> get_config_primary_cb(const interface_context* radio, const std::string& text);

}  // namespace ravd

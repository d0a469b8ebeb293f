#include "driver/converters.h"

#include <algorithm>

#include "core/decimal.h"
#include "core/logger.h"
#include "driver/chanspec.h"
#include "ipc/ipc_helper.h"

namespace ravd {
namespace {

constexpr std::size_t ssid_limit = 129;
constexpr int largest_channel = 0xffff;

const char* name_of(const interface_context* radio) { return radio ? radio->name.c_str() : ""; }

}  // namespace

std::optional<std::uint32_t> parse_number(const interface_context*, const std::string& text) {
    int number = 0;
    if (!read_decimal(text.c_str(), number) || number < 0) return std::nullopt;
    return static_cast<std::uint32_t>(number);
}

std::optional<bool> parse_boolean(const interface_context*, const std::string& text) { return text == "true"; }

std::optional<std::string> parse_ssid(const interface_context*, const std::string& text) {
    return text.substr(0, ssid_limit);
}

std::optional<bool> parse_enterprise(const interface_context*, const std::string& text) {
    return text.find("1X") != std::string::npos;
}

std::optional<bool> parse_wpa2_wpa3(const interface_context*, const std::string& text) {
    return is_wpa2_wpa3_mode(text);
}

std::optional<channel_set> parse_channel_list(const interface_context*, const std::string& text) {
    if (text.empty()) return std::nullopt;
    channel_set channels;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        int channel = 0;
        if (read_decimal(text.substr(at, end - at).c_str(), channel) && channel > 0 && channel <= largest_channel)
            channels.insert(static_cast<std::uint32_t>(channel));
        at = end + 1;
    }
    return channels;
}

std::optional<std::uint32_t> get_config_bandwidth_cb(const interface_context* radio, const std::string& text) {
    int megahertz = 0;
    read_decimal(text.c_str(), megahertz);
    switch (megahertz) {
        case 20:
            return chanspec_bw_20;
        case 40:
            return chanspec_bw_40;
        case 80:
            return chanspec_bw_80;
        default:
            log_error(process_log, "<%s:%d> cannot handle bandwidth of the %s interface(value == %s)\n", __func__,
                      __LINE__, name_of(radio), text.c_str());
            return std::nullopt;
    }
}

std::optional<std::uint32_t> get_config_primary_cb(const interface_context* radio, const std::string& text) {
    if (text == "lower") return chanspec_sb_lower;
    if (text == "upper") return chanspec_sb_upper;
    log_error(process_log, "<%s:%d> cannot handle control sideband of the %s interface(value == %s)\n", __func__,
              __LINE__, name_of(radio), text.c_str());
    return std::nullopt;
}

}  // namespace ravd

// Single radio and VAP settings.
#include <cstdarg>
#include <cstdio>

#include "core/ifname.h"
#include "core/logger.h"
#include "ipc/ipc_helper.h"

namespace ravd {
namespace {

// A configuration path; what does not fit is cut.
class config_path {
  public:
    explicit config_path(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text_, sizeof text_, format, arguments);
        va_end(arguments);
    }
    operator const char*() const { return text_; }

  private:
    char text_[64];
};

}  // namespace

bool is_wpa2_wpa3_mode(std::string_view mode) {
    const auto contains = [mode](std::string_view piece) { return mode.find(piece) != std::string_view::npos; };
    return !contains("WPA_") && (contains("WPA2") || contains("WPA3"));
}

bool ipc_helper::read_setting(const char* path, std::string& value) {
    log_debug(process_log, "getconf '%s'\n", path);
    return getconf(path, value) == 0;
}

bool ipc_helper::read_switch(const char* path) {
    std::string value;
    return read_setting(path, value) && value == "true";
}

std::string ipc_helper::get_country(const char* radio_name) {
    std::string value;
    if (!read_setting(config_path("/interface/%s/wlan/radio/country", radio_name), value)) return "RU";
    return value;
}

bool ipc_helper::get_wds_enabled(const char* radio_name) {
    for (int link = 0; link < wds_links; ++link)
        if (read_switch(config_path("/interface/%s-wds%d/common/enabled", radio_name, link))) return true;
    return false;
}

bool ipc_helper::is_wpa2_wpa3(std::int32_t radio, std::int32_t vap) {
    std::string mode;
    return read_setting(config_path("/interface/wlan%d-vap%d/vap/ap-security/mode", radio, vap), mode) &&
           is_wpa2_wpa3_mode(mode);
}

bool ipc_helper::is_ft_enabled(std::int32_t radio, std::int32_t vap) {
    std::string value;
    if (!read_setting(config_path("/interface/wlan%d-vap%d/vap/ft-config/enabled", radio, vap), value)) return false;
    // The mode is asked for whatever the value is.
    return is_wpa2_wpa3(radio, vap) && value == "true";
}

bool ipc_helper::is_captive_portal_enabled(std::int32_t radio, std::int32_t vap) {
    return read_switch(config_path("/interface/wlan%d-vap%d/vap/captive-portal/enabled", radio, vap));
}

bool ipc_helper::is_8021x(std::int32_t radio, std::int32_t vap) {
    std::string mode;
    return read_setting(config_path("/interface/wlan%d-vap%d/vap/ap-security/mode", radio, vap), mode) &&
           mode.find("1X") != std::string::npos;
}

bool ipc_helper::is_80211kv_enabled(std::int32_t radio, std::int32_t vap) {
    return read_switch(config_path("/interface/wlan%d-vap%d/vap/w80211kv-config/enabled", radio, vap));
}

}  // namespace ravd

#include "driver/radio_settings.h"

#include "core/formatted.h"
#include "core/ifname.h"
#include "core/logger.h"
#include "driver/converters.h"

namespace ravd {
namespace {

constexpr std::uint32_t unset = 0x1000;  // what is answered for a bandwidth or sideband that is not configured

}  // namespace

bool radio_settings::read_radio_value(const char* ifname, const char* key, std::string& text) const {
    constexpr const char* function = "getconf_radio";
    const std::string path = context_.radios.table().radio_path(ifname, key);
    const bool found = context_.requests.getconf(path.c_str(), text) == 0;
    const char* name = ifname ? ifname : "";
    log_debug(process_log, "<%s:%d> ifname == %s path == %s value %s\n", function, __LINE__, name, path.c_str(),
              text.c_str());
    if (!found)
        log_error(process_log, "<%s:%d> cannot take %s value of the %s interface\n", function, __LINE__, text.c_str(),
                  name);
    return found;
}

// The numbers in these two lines are part of their text: who reads the log looks for them.
bool radio_settings::read_vap_value(const char* ifname, const char* key, std::string& text) const {
    constexpr const char* function = "getconf_vap";
    const std::string path = vap_path(ifname, key);
    const char* name = ifname ? ifname : "";
    const bool found = context_.requests.getconf(path.c_str(), text) == 0;
    log_debug(process_log, "<%s:%d> ifname == %s path == %s value %s\n", function, 265, name, path.c_str(),
              text.c_str());
    if (!found)
        log_error(process_log, "<%s:%d> cannot take %s value of the %s interface\n", function, 269, path.c_str(), name);
    return found;
}

bool radio_settings::get_wds_enabled(const char* radio_name) const {
    const std::string radio_path = vap_path(radio_name, "");
    if (!context_.requests.read_switch((radio_path + "/wlan/wds/enabled").c_str())) return false;
    for (int link = 0; link < wds_links; ++link)
        if (context_.requests.read_switch(formatted("%s-wds%d/common/enabled", radio_path.c_str(), link).c_str()))
            return true;
    return false;
}

bool radio_settings::is_ft_enabled(std::int32_t radio, std::int32_t vap) const {
    if (!context_.radios.vap_active(radio, vap)) return false;
    const std::string name = make_vap_ifname(radio, vap);
    if (!getconf_vap(name.c_str(), "/vap/ft-config/enabled", parse_boolean).value_or(false)) return false;
    return getconf_vap(name.c_str(), "/vap/ap-security/mode", parse_wpa2_wpa3).value_or(false);
}

std::uint32_t radio_settings::get_config_bandwidth(const char* radio_name) const {
    if (!context_.radios.flags()) return 0;
    return getconf_radio(radio_name, "bandwidth", get_config_bandwidth_cb).value_or(unset);
}

std::uint32_t radio_settings::get_config_sideband(const char* radio_name) const {
    if (!context_.radios.flags()) return 0;
    return getconf_radio(radio_name, "control-sideband", get_config_primary_cb).value_or(unset);
}

void radio_settings::get_min_max_tx_power(const char*, std::uint32_t* min, std::uint32_t* max,
                                          std::uint32_t band) const {
    if (!min || !max) {
        log_error(process_log, "<%s:%d> no pointer to tx_power_min or tx_power_max\n", __func__, __LINE__);
        return;
    }
    *min = default_tx_power_min;
    *max = default_tx_power_max;
    if (!context_.radios.flags()) return;
    for (int radio = 0; radio < radio_limit; ++radio) {
        if (!context_.radios.radio_has_band(radio, band)) continue;
        const char* name = context_.radios.table().get_radio(radio)->name.c_str();
        const auto configured_max = getconf_radio(name, "tx-power-max", parse_number);
        const auto configured_min = getconf_radio(name, "tx-power-min", parse_number);
        if (configured_max && configured_min) {
            *max = *configured_max;
            *min = *configured_min;
        }
        break;
    }
    log_debug(process_log, "<%s:%d> tx_power_min == %d tx_power_max == %d\n", __func__, __LINE__,
              static_cast<int>(*min), static_cast<int>(*max));
}

}  // namespace ravd

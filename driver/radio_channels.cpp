#include "driver/radio_channels.h"

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/converters.h"

namespace ravd {

bool radio_channels::get_obss_coex(const char* radio_name) const {
    return radio_name && context_.back_end_of(radio_name)->get_obss_coex();
}

std::uint32_t radio_channels::get_chanspec(const char* ifname) const {
    if (!context_.radios.flags()) return 0;
    if (!ifname) {
        log_error(process_log, "<%s:%d> interface is not set\n", __func__, __LINE__);
        return 0;
    }
    std::uint32_t chanspec = 0;
    context_.back_end_of(ifname)->get_chanspec(chanspec);
    log_debug(process_log, "<%s:%d> ifname == %s chanspec == %0x\n", __func__, __LINE__, ifname, chanspec);
    return chanspec;
}

int radio_channels::get_tx_power(const char* radio_name) const {
    std::uint32_t power = 0;
    if (!context_.radios.flags() || !radio_name || context_.back_end_of(radio_name)->get_tx_power(power) < 0)
        return static_cast<int>(default_tx_power_max);
    return static_cast<int>(power);
}

int radio_channels::set_channel(const char* radio_name, int channel, int bandwidth, int sideband) const {
    if (!context_.radios.flags()) return 0;
    param_list params{
        {"auto-channel", "false"}, {"channel", std::to_string(channel)}, {"bandwidth", std::to_string(bandwidth)}};
    if (sideband == 1) params.emplace_back("control-sideband", "lower");
    if (sideband == 2) params.emplace_back("control-sideband", "upper");
    return context_.requests.update_corvane(radio_name, params);
}

int radio_channels::set_tx_power(const char* radio_name, int power) const {
    if (!context_.radios.flags()) return 0;
    return context_.requests.update_corvane(radio_name, {{"tx-power", std::to_string(power)}});
}

void radio_channels::reset_corvane() const {
    context_.requests.reset_corvane_params("wlan0");
    context_.requests.reset_corvane_params("wlan1");
}

void radio_channels::fill_chanspecs(const char* radio_name, std::string& text) const {
    if (!radio_name || !context_.radios.may_scan(radio_index(radio_name))) return;
    channel_set channels;
    if (context_.back_end_of(radio_name)->get_available_channels(channels) < 0) return;
    if (settings_.getconf_radio(radio_name, "use-limit-channels", parse_boolean).value_or(false)) {
        auto limit = settings_.getconf_radio(radio_name, "limit-channels", parse_channel_list);
        if (limit) channels = std::move(*limit);
    }
    text.clear();
    for (const std::uint32_t channel : channels)
        text.append(std::to_string(channel)).append(" ");
    log_debug(process_log, "<%s:%d> chanspecs == %s\n", __func__, __LINE__, text.c_str());
}

}  // namespace ravd

// Channel and power of a radio, and orders to the network daemon.
#include "core/logger.h"
#include "driver/driver_realtek.h"
#include "driver/ioctl_ops.h"

namespace ravd {

bool driver_realtek::get_obss_coex(const char* radio_name) {
    return radio_name && back_end(radio_name)->get_obss_coex(radio_name);
}

std::uint32_t driver_realtek::get_chanspec(const char* ifname) {
    if (!flags()) return 0;
    if (!ifname) {
        log_error(process_log, "<%s:%d> interface is not set\n", __func__, __LINE__);
        return 0;
    }
    std::uint32_t chanspec = 0;
    back_end(ifname)->get_mib("chanspec", chanspec, ifname);
    log_debug(process_log, "<%s:%d> ifname == %s chanspec == %0x\n", __func__, __LINE__, ifname, chanspec);
    return chanspec;
}

int driver_realtek::get_tx_power(const char* radio_name) {
    std::uint32_t power = 0;
    if (!flags() || !radio_name || back_end(radio_name)->get_tx_power(power, radio_name) < 0)
        return static_cast<int>(default_tx_power_max);
    return static_cast<int>(power);
}

int driver_realtek::set_channel(const char* radio_name, int channel, int bandwidth, int sideband) {
    if (!flags()) return 0;
    param_list params{
        {"auto-channel", "false"}, {"channel", std::to_string(channel)}, {"bandwidth", std::to_string(bandwidth)}};
    if (sideband == 1) params.emplace_back("control-sideband", "lower");
    if (sideband == 2) params.emplace_back("control-sideband", "upper");
    return update_corvane(radio_name, params);
}

int driver_realtek::set_tx_power(const char* radio_name, int power) {
    if (!flags()) return 0;
    return update_corvane(radio_name, {{"tx-power", std::to_string(power)}});
}

void driver_realtek::reset_corvane(bool keep) {
    if (keep) return;
    reset_corvane_params("wlan0");
    reset_corvane_params("wlan1");
}

int driver_realtek::add_corvane_fbt_params(const char* name, const char* text) {
    return add_to_fbt_request(name, text);
}
int driver_realtek::begin_corvane_fbt_params() { return begin_fbt_request(); }
int driver_realtek::finish_corvane_fbt_params() { return send_fbt_request(); }
int driver_realtek::reset_corvane_fbt_params(int reason) { return send_reset_corvane_fbt(reason); }

}  // namespace ravd

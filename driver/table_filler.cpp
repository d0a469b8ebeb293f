#include "driver/table_filler.h"

#include "core/logger.h"
#include "driver/chanspec.h"
#include "driver/converters.h"
#include "driver/interface_state.h"

namespace ravd {

void table_filler::init_interface_context() {
    if (!context_.radios.process_running()) return;
    log_info(process_log, "Attempt to initialize interface_context...\n");
    const std::uint32_t unanswered_before = context_.requests.unanswered();
    for (int radio = 0; radio < radio_limit; ++radio)
        init_radio(radio, *context_.radios.table().get_radio(radio));
    incomplete_ = context_.requests.unanswered() != unanswered_before;
}

bool table_filler::refill_context() {
    radio_table& table = context_.radios.table();
    const radio_table before = table;
    table.reset();
    init_interface_context();
    if (incomplete_) table = before;
    return !(table == before);
}

void table_filler::init_radio(std::int32_t radio_id, interface_context& radio) const {
    const char* name = radio.name.c_str();
    log_info(process_log, "Initializing %s radio...\n", name);
    context_.requests.tick();
    radio.up = context_.radios.is_radio_up(name);
    if (!context_.radios.radio_up(radio_id)) return;
    radio.wds_enabled = settings_.get_wds_enabled(name);
    radio.band = band_of_chanspec(channels_.get_chanspec(name));
    radio.country = context_.requests.get_country(name);
    radio.obss_coex = channels_.get_obss_coex(name);
    radio.bandwidth = settings_.get_config_bandwidth(name);
    // At 80 MHz the configured sideband has no meaning.
    if (radio.bandwidth & chanspec_bw_40) radio.bandwidth |= settings_.get_config_sideband(name);
    settings_.get_min_max_tx_power(radio.country.c_str(), &radio.tx_power_min, &radio.tx_power_max, radio.band);
    if (!context_.radios.hostapd_running()) return;
    for (vap_record& vap : radio.vaps)
        init_vap(vap);
}

void table_filler::init_vap(vap_record& vap) const {
    const char* name = vap.name.c_str();
    context_.requests.tick();
    if (!is_if_exists(name)) return;
    log_info(process_log, "Initializing %s vap...\n", name);
    vap.active = context_.radios.interface_is_up(vap.name);
    if (!vap.active) return;
    vap.active = settings_.getconf_vap(name, "/common/enabled", parse_boolean).value_or(false) &&
                 context_.radios.process_running();
    if (!vap.active) return;
    vap.ssid =
        context_.radios.flags() ? settings_.getconf_vap(name, "/vap/ssid", parse_ssid).value_or("") : std::string();
    vap.captive_portal = settings_.getconf_vap(name, "/vap/captive-portal/enabled", parse_boolean).value_or(false);
    vap.enterprise = settings_.getconf_vap(name, "/vap/ap-security/mode", parse_enterprise).value_or(false);
    vap.kv_enabled = settings_.getconf_vap(name, "/vap/w80211kv-config/enabled", parse_boolean).value_or(false);
}

}  // namespace ravd

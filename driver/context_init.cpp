// Filling of the table of radios and VAPs, each time hostapd starts.
#include "core/logger.h"
#include "driver/chanspec.h"
#include "driver/converters.h"
#include "driver/driver_realtek.h"
#include "driver/interface_state.h"

namespace ravd {

void driver_realtek::reset_context() { table_.reset(); }

void driver_realtek::init_interface_context() {
    if (!running_->load(std::memory_order_relaxed)) return;
    log_info(process_log, "Attempt to initialize interface_context...\n");
    const std::uint32_t unanswered_before = unanswered();
    {
        // A configuration service that hangs must not keep the agent for two seconds a setting.
        const series one_task(*this);
        for (int radio = 0; radio < radio_count(); ++radio)
            init_radio(radio, *table_.get_radio(radio));
    }
    context_incomplete_ = unanswered() != unanswered_before;
}

bool driver_realtek::context_incomplete() { return context_incomplete_; }

bool driver_realtek::refill_context() {
    const radio_table before = table_;
    table_.reset();
    init_interface_context();
    if (context_incomplete_) table_ = before;
    return !(table_ == before);
}

void driver_realtek::init_radio(std::int32_t radio_id, interface_context& radio) {
    const char* name = radio.name.c_str();
    log_info(process_log, "Initializing %s radio...\n", name);
    tick();
    radio.up = is_radio_up(name);
    if (!radio_up(radio_id)) return;
    radio.wds_enabled = get_wds_enabled(name);
    radio.band = band_of_chanspec(get_chanspec(name));
    radio.country = get_country(name);
    radio.obss_coex = get_obss_coex(name);
    radio.bandwidth = get_config_bandwidth(name);
    // At 80 MHz the configured sideband has no meaning.
    if (radio.bandwidth & chanspec_bw_40) radio.bandwidth |= get_config_sideband(name);
    get_min_max_tx_power(radio.country.c_str(), &radio.tx_power_min, &radio.tx_power_max, radio.band);
    if (!hostapd_running_) return;
    for (int vap = 0; vap < vap_count(); ++vap)
        init_vap(radio_id, vap, *radio_table::get_vap(radio, vap));
}

void driver_realtek::init_vap(std::int32_t radio_id, std::int32_t vap_id, vap_record& vap) {
    const char* name = vap.name.c_str();
    tick();
    if (!is_if_exists(name)) return;
    log_info(process_log, "Initializing %s vap...\n", name);
    vap.active = vap_interface_is_up(vap.name);
    if (!vap_active(radio_id, vap_id)) {
        vap.active = false;
        return;
    }
    const bool enabled = getconf_vap(name, "/common/enabled", parse_boolean).value_or(false);
    if (!enabled || !running_->load(std::memory_order_relaxed)) {
        vap.active = false;
        return;
    }
    vap.ssid = flags() ? getconf_vap(name, "/vap/ssid", parse_ssid).value_or("") : std::string();
    vap.captive_portal = getconf_vap(name, "/vap/captive-portal/enabled", parse_boolean).value_or(false);
    vap.enterprise = getconf_vap(name, "/vap/ap-security/mode", parse_enterprise).value_or(false);
    vap.kv_enabled = getconf_vap(name, "/vap/w80211kv-config/enabled", parse_boolean).value_or(false);
}

}  // namespace ravd

#include "driver/driver_realtek.h"

#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"
#include "message/json.h"
#include "platform/factory.h"

namespace ravd {
namespace {

// What Realtek's drivers do not offer: blocking of stations and probe tables.
void not_supported(const char* operation) { log_debug(process_log, "%s: not supported\n", operation); }

}  // namespace

driver_realtek::driver_realtek(const run_flag* running, back_end_source& back_ends)
    : radios_(running), context_{radios_, *this, back_ends} {
    open_bus();
    factory_data loaded;
    if (factory_data_load(&loaded) == 0) {
        static_assert(sizeof loaded.mac == sizeof factory_.base_mac, "the record's own field sizes");
        std::memcpy(factory_.board, loaded.board, sizeof factory_.board);
        std::memcpy(factory_.base_mac, loaded.mac, sizeof factory_.base_mac);
        std::memcpy(factory_.hw, loaded.hw, sizeof factory_.hw);
        std::memcpy(factory_.serial, loaded.serial, sizeof factory_.serial);
    }
    const void* end = std::memchr(factory_.base_mac, '\0', sizeof factory_.base_mac);
    base_mac_ = end ? std::string(factory_.base_mac) : std::string(factory_.base_mac, sizeof factory_.base_mac);
    radios_.table().fill_names(base_mac_.c_str());
}

const factory_texts* driver_realtek::get_factory_info() { return &factory_; }
const char* driver_realtek::get_base_mac() { return base_mac_.c_str(); }
int driver_realtek::radio_count() { return radio_limit; }
int driver_realtek::vap_count() { return vap_limit; }
void driver_realtek::short_sleep(const event_callback&, const rest_callback& rest) { rest(); }

// The table and what is known beside it.
void driver_realtek::init_interface_context() { filler_.init_interface_context(); }
void driver_realtek::reset_context() { radios_.table().reset(); }
bool driver_realtek::context_incomplete() { return filler_.context_incomplete(); }
bool driver_realtek::refill_context() { return filler_.refill_context(); }
void driver_realtek::set_hostapd_running(bool running) { radios_.set_hostapd_running(running); }
bool driver_realtek::is_hostapd_running() { return radios_.hostapd_running(); }
bool driver_realtek::is_radio_up(const char* radio_name) { return radios_.is_radio_up(radio_name); }
bool driver_realtek::radio_wds_enabled(std::int32_t radio) { return radios_.radio_wds_enabled(radio); }
bool driver_realtek::radio_up(std::int32_t radio) { return radios_.radio_up(radio); }
bool driver_realtek::any_vap_active(std::int32_t radio) { return radios_.any_vap_active(radio); }
bool driver_realtek::vap_is_up(const char* ifname, std::int32_t vap) { return radios_.vap_is_up(ifname, vap); }
bool driver_realtek::vap_active(std::int32_t radio, std::int32_t vap) { return radios_.vap_active(radio, vap); }
bool driver_realtek::vap_kv_enabled(std::int32_t radio, std::int32_t vap) { return radios_.vap_kv_enabled(radio, vap); }
bool driver_realtek::radio_has_band(std::int32_t radio, std::uint32_t band) {
    return radios_.radio_has_band(radio, band);
}
const char* driver_realtek::vap_name(std::int32_t vap, std::int32_t radio) { return radios_.vap_name(vap, radio); }
const char* driver_realtek::vap_ssid(std::int32_t vap, std::int32_t radio) { return radios_.vap_ssid(vap, radio); }
const char* driver_realtek::vap_mac(std::int32_t vap, std::int32_t radio) { return radios_.vap_mac(vap, radio); }
int driver_realtek::vap_index_by_ssid(const char* ssid, std::int32_t radio) {
    return radios_.vap_index_by_ssid(ssid, radio);
}
const char* driver_realtek::vap_name_by_ssid(const char* ssid, std::int32_t radio) {
    return radios_.vap_name_by_ssid(ssid, radio);
}

int driver_realtek::get_tx_power_max(std::int32_t radio) {
    const interface_context* context = table().get_radio(radio);
    return static_cast<int>(context ? context->tx_power_max : default_tx_power_max);
}

int driver_realtek::get_tx_power_min(std::int32_t radio) {
    const interface_context* context = table().get_radio(radio);
    return static_cast<int>(context ? context->tx_power_min : default_tx_power_min);
}

int driver_realtek::get_vap_base(std::int32_t radio) {
    const interface_context* context = table().get_radio(radio);
    return context ? static_cast<int>(context->vap_base) : 0;
}

int driver_realtek::get_vap_span(std::int32_t radio) {
    const interface_context* context = table().get_radio(radio);
    return context ? static_cast<int>(context->vap_span) : 0;
}

std::uint32_t driver_realtek::get_radio_bandwidth(std::int32_t radio) {
    const interface_context* context = table().get_radio(radio);
    return context ? context->bandwidth : 0;
}

bool driver_realtek::get_radio_obss_coex(std::int32_t radio) {
    const interface_context* context = table().get_radio(radio);
    return context && context->obss_coex;
}

void driver_realtek::for_each_vap(const char* ifname, vap_callback callback) {
    if (!radios_.flags()) return;
    const int radio = radio_index(ifname);
    if (!radio_up(radio)) return;
    for (int vap = 0; vap < vap_limit; ++vap) {
        const char* ssid = vap_ssid(vap, radio);
        const char* mac = vap_mac(vap, radio);
        if (ssid && mac) callback(vap, ssid, mac, vap_kv_enabled(radio, vap));
    }
}

bool driver_realtek::put_radio_id(const char* ifname, json_writer& writer) {
    int radio = 0;
    int vap = 0;
    if (!parse_vap_ifname(ifname, radio, vap)) return false;
    writer.add_int("radio", radio);
    return true;
}

// Settings.
bool driver_realtek::get_wds_enabled(const char* radio_name) { return settings_.get_wds_enabled(radio_name); }
bool driver_realtek::is_ft_enabled(std::int32_t radio, std::int32_t vap) { return settings_.is_ft_enabled(radio, vap); }
std::uint32_t driver_realtek::get_config_sideband(const char* radio_name) {
    return settings_.get_config_sideband(radio_name);
}
std::uint32_t driver_realtek::get_config_bandwidth(const char* radio_name) {
    return settings_.get_config_bandwidth(radio_name);
}
void driver_realtek::get_min_max_tx_power(const char* country, std::uint32_t* min, std::uint32_t* max,
                                          std::uint32_t band) {
    settings_.get_min_max_tx_power(country, min, max, band);
}

// Channels and power.
bool driver_realtek::get_obss_coex(const char* radio_name) { return channels_.get_obss_coex(radio_name); }
std::uint32_t driver_realtek::get_chanspec(const char* ifname) { return channels_.get_chanspec(ifname); }
int driver_realtek::get_tx_power(const char* radio_name) { return channels_.get_tx_power(radio_name); }
void driver_realtek::fill_chanspecs(const char* radio_name, std::string& text) {
    channels_.fill_chanspecs(radio_name, text);
}
int driver_realtek::set_tx_power(const char* radio_name, int power) {
    return channels_.set_tx_power(radio_name, power);
}
int driver_realtek::set_channel(const char* radio_name, int channel, int bandwidth, int sideband) {
    return channels_.set_channel(radio_name, channel, bandwidth, sideband);
}
void driver_realtek::reset_corvane(bool keep) {
    if (!keep) channels_.reset_corvane();
}

// Scans.
bool driver_realtek::is_scanning() { return scans_.is_scanning(); }
int driver_realtek::start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s) {
    return scans_.start_scan(active, wlan0, wlan1, wait_s);
}
// Asked whatever the rest says: what there is has to be read.
bool driver_realtek::scan_over() {
    return context_.back_ends.scans_over() && scans_.ends_are_told() && radios_.hostapd_running();
}
int driver_realtek::event_descriptor() { return context_.back_ends.event_descriptor(); }
int driver_realtek::stop_scan(bool active) { return scans_.stop_scan(active); }
int driver_realtek::fill_scan_results(ap_table& table) { return scans_.fill_scan_results(table); }
int driver_realtek::fill_rrm_scan_results(ap_table& table) { return scans_.fill_rrm_scan_results(table); }

void driver_realtek::stop_all() {
    if (!radios_.hostapd_running()) return;
    for (int radio = 0; radio < radio_limit; ++radio)
        unblock_all_sta(radio_names[static_cast<std::size_t>(radio)]);
    stop_scan(true);
    stop_scan(false);
}

// Stations.
int driver_realtek::get_assoc_stas(const char* ifname, station_callback callback) {
    return stations_.get_assoc_stas(ifname, callback);
}
void driver_realtek::send_bss_trans_req(const char* ifname, const char* sta_mac, int) {
    stations_.send_bss_trans_req(ifname, sta_mac);
}
int driver_realtek::set_roam_attempt_timeout(const char* ifname, int timeout) {
    return stations_.set_roam_attempt_timeout(ifname, timeout);
}
void driver_realtek::block_sta(const char*, const char*) { not_supported(__func__); }
void driver_realtek::block_sta_data(const char*, const char*) { not_supported(__func__); }
void driver_realtek::unblock_sta(const char*, const char*) { not_supported(__func__); }
void driver_realtek::unblock_all_sta(const char*) { not_supported(__func__); }
void driver_realtek::set_quarn_sta_rssi_thr_high(const char*, int) { not_supported(__func__); }
void driver_realtek::set_quarn_sta_rssi_thr_low(const char*, int) { not_supported(__func__); }
int driver_realtek::probsup_find(const char*, const char*) {
    not_supported(__func__);
    return 0;
}
void driver_realtek::probsup_rrm_max_age(const char*, int) { not_supported(__func__); }
void driver_realtek::probsup_rrm_client_try_no_balance(const char*, int) { not_supported(__func__); }
void driver_realtek::rssi_renew_interval(const char*, int) { not_supported(__func__); }
void driver_realtek::disassoc_sta(const char*, const char*) { not_supported(__func__); }

// Neighbour lists.
void driver_realtek::add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                                  bool custom) {
    neighbours_.add_neighbor(bssid, ssid, channel, priority, custom);
}
void driver_realtek::del_neighbors(const char* ifname) { neighbours_.del_neighbors(ifname); }
void driver_realtek::del_custom_neighbors(const char* ifname) { neighbours_.del_custom_neighbors(ifname); }

// Key holders.
int driver_realtek::begin_corvane_fbt_params() {
    key_holders_.begin();
    return 0;
}
int driver_realtek::add_corvane_fbt_params(const char* name, const char* text) {
    key_holders_.add(name, text);
    return 0;
}
int driver_realtek::finish_corvane_fbt_params() { return key_holders_.finish(); }
int driver_realtek::reset_corvane_fbt_params(int reason) { return key_holders_.reset(reason); }

}  // namespace ravd

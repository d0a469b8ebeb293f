// Construction, the back-end of an interface, and what is answered from the table.
#include "driver/driver_realtek.h"

#include <cstdio>
#include <cstring>

#include "core/ifname.h"
#include "driver/chanspec.h"
#include "driver/interface_state.h"
#include "driver/ioctl_ops.h"
#include "message/json.h"
#include "platform/factory.h"
#include "platform/radio_description.h"

namespace ravd {

driver_realtek::driver_realtek(const run_flag* running) : running_(running) {
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
    table_.fill_names(base_mac_.c_str());
}

driver_realtek::~driver_realtek() = default;

driver_realtek& realtek_driver(const run_flag* running) {
    static driver_realtek driver(running);
    return driver;
}

std::unique_ptr<ioctl_ops> driver_realtek::back_end(const char* ifname) const {
    const std::string radio_name(ifname, std::strcspn(ifname, "-"));
    const bool wifi6 = TOVA::get_radio_description(radio_name.c_str()).driver == TOVA::radio_driver::rtk_wifi6;
    return ioctl_ops::assign(wifi6 ? g6_back_end : rtl8192cd_back_end, *this, ifname);
}

const factory_texts* driver_realtek::get_factory_info() { return &factory_; }
const char* driver_realtek::get_base_mac() { return base_mac_.c_str(); }

void driver_realtek::set_hostapd_running(bool running) { hostapd_running_ = running; }
bool driver_realtek::is_hostapd_running() { return hostapd_running_; }
bool driver_realtek::is_scanning() { return scan_in_progress_; }
int driver_realtek::radio_count() { return radio_limit; }
int driver_realtek::vap_count() { return vap_limit; }
void driver_realtek::short_sleep(const event_callback&) { pause_100_ms(); }

bool driver_realtek::is_radio_up(const char* radio_name) {
    return flags() && radio_name && interface_is_up(radio_name);
}

bool driver_realtek::vap_interface_is_up(const std::string& name) const {
    return flags() && !name.empty() && interface_is_up(name.c_str());
}

bool driver_realtek::radio_wds_enabled(std::int32_t radio) {
    const interface_context* context = flags() ? table_.get_radio(radio) : nullptr;
    return context && context->wds_enabled;
}

bool driver_realtek::radio_up(std::int32_t radio) {
    const interface_context* context = flags() ? table_.get_radio(radio) : nullptr;
    return context && context->up;
}

bool driver_realtek::radio_has_band(std::int32_t radio, std::uint32_t band) {
    return radio_up(radio) && table_.get_radio(radio)->band == band;
}

bool driver_realtek::any_vap_active(std::int32_t radio) {
    const interface_context* context = flags() ? table_.get_radio(radio) : nullptr;
    if (!context) return false;
    for (const vap_record& vap : context->vaps)
        if (vap.active) return true;
    return false;
}

bool driver_realtek::vap_is_up(const char* ifname, std::int32_t vap) {
    const interface_context* context = flags() ? table_.radio_by_ifname(ifname) : nullptr;
    const vap_record* record = context ? radio_table::get_vap(*context, vap) : nullptr;
    return record && vap_interface_is_up(record->name);
}

bool driver_realtek::vap_active(std::int32_t radio, std::int32_t vap) {
    const interface_context* context = flags() ? table_.get_radio(radio) : nullptr;
    const vap_record* record = context ? radio_table::get_vap(*context, vap) : nullptr;
    return record && record->active;
}

const vap_record* driver_realtek::usable_vap(std::int32_t radio, std::int32_t vap) {
    if (!radio_up(radio) || !vap_active(radio, vap)) return nullptr;
    return radio_table::get_vap(*table_.get_radio(radio), vap);
}

bool driver_realtek::vap_kv_enabled(std::int32_t radio, std::int32_t vap) {
    const vap_record* record = usable_vap(radio, vap);
    return record && record->kv_enabled;
}

const char* driver_realtek::vap_name(std::int32_t vap, std::int32_t radio) {
    const vap_record* record = radio_up(radio) ? radio_table::get_vap(*table_.get_radio(radio), vap) : nullptr;
    return record ? record->name.c_str() : nullptr;
}

const char* driver_realtek::vap_ssid(std::int32_t vap, std::int32_t radio) {
    const vap_record* record = usable_vap(radio, vap);
    return record ? record->ssid.c_str() : nullptr;
}

const char* driver_realtek::vap_mac(std::int32_t vap, std::int32_t radio) {
    const vap_record* record = usable_vap(radio, vap);
    return record ? record->mac.c_str() : nullptr;
}

int driver_realtek::vap_index_by_ssid(const char* ssid, std::int32_t radio) {
    if (!ssid || *ssid == '\0' || !radio_up(radio)) return -1;
    int index = 0;
    for (const vap_record& vap : table_.get_radio(radio)->vaps) {
        if (vap.ssid == ssid) return index;
        ++index;
    }
    return -1;
}

const char* driver_realtek::vap_name_by_ssid(const char* ssid, std::int32_t radio) {
    const int index = vap_index_by_ssid(ssid, radio);
    return index < 0 ? nullptr : vap_name(index, radio);
}

int driver_realtek::get_tx_power_max(std::int32_t radio) {
    const interface_context* context = table_.get_radio(radio);
    return static_cast<int>(context ? context->tx_power_max : default_tx_power_max);
}

int driver_realtek::get_tx_power_min(std::int32_t radio) {
    const interface_context* context = table_.get_radio(radio);
    return static_cast<int>(context ? context->tx_power_min : default_tx_power_min);
}

int driver_realtek::get_vap_base(std::int32_t radio) {
    const interface_context* context = table_.get_radio(radio);
    return context ? static_cast<int>(context->vap_base) : 0;
}

int driver_realtek::get_vap_span(std::int32_t radio) {
    const interface_context* context = table_.get_radio(radio);
    return context ? static_cast<int>(context->vap_span) : 0;
}

std::uint32_t driver_realtek::get_radio_bandwidth(std::int32_t radio) {
    const interface_context* context = table_.get_radio(radio);
    return context ? context->bandwidth : 0;
}

bool driver_realtek::get_radio_obss_coex(std::int32_t radio) {
    const interface_context* context = table_.get_radio(radio);
    return context && context->obss_coex;
}

void driver_realtek::for_each_vap(const char* ifname, const vap_callback& callback) {
    if (!flags()) return;
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

void driver_realtek::vap_ifname(std::int32_t radio, std::int32_t vap, char* buffer, std::size_t size) {
    std::snprintf(buffer, size, "wlan%d-va%d", radio, vap);
}

std::uint32_t driver_realtek::chanspec_ctl_channel(std::uint32_t chanspec) {
    return ravd::chanspec_ctl_channel(chanspec);
}
const char* driver_realtek::chanspec_sideband(std::uint32_t chanspec) { return ravd::chanspec_sideband(chanspec); }
std::uint32_t driver_realtek::chanspec_bw(std::uint32_t chanspec) { return ravd::chanspec_bw(chanspec); }
std::uint32_t driver_realtek::band_of_chanspec(std::uint32_t chanspec) { return ravd::band_of_chanspec(chanspec); }
std::uint32_t driver_realtek::band_of_channel(std::uint32_t channel) { return ravd::band_of_channel(channel); }
std::uint32_t driver_realtek::band_of_channel_v(std::uint32_t channel) { return band_of_channel(channel); }
int driver_realtek::parse_sideband(const char* text) { return ravd::parse_sideband(text); }
const char* driver_realtek::sideband_name(std::uint32_t sideband, std::uint32_t bandwidth_mhz) {
    return ravd::sideband_name(sideband, bandwidth_mhz);
}

}  // namespace ravd

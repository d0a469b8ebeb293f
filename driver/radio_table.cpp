#include "driver/radio_table.h"

#include <tuple>

#include "core/formatted.h"
#include "core/ifname.h"
#include "core/logger.h"
#include "message/mac_addr.h"

namespace ravd {
namespace {

constexpr std::uint32_t addresses_per_radio = 8;
constexpr const char* out_of_range_text = "number out of range";

std::string vap_address(MacAddr base, std::uint32_t number) {
    base.octets[5] = static_cast<std::uint8_t>(base.octets[5] + number);
    return base.to_lower();
}

auto fields(const vap_record& vap) {
    return std::tie(vap.name, vap.mac, vap.ssid, vap.captive_portal, vap.active, vap.enterprise, vap.kv_enabled);
}

auto fields(const interface_context& radio) {
    return std::tie(radio.vaps, radio.name, radio.up, radio.vap_base, radio.vap_span, radio.wds_enabled,
                    radio.obss_coex, radio.country, radio.tx_power_max, radio.tx_power_min, radio.bandwidth,
                    radio.band);
}

bool in_range(std::int32_t number, std::int32_t limit) { return number >= 0 && number < limit; }

}  // namespace

bool operator==(const vap_record& a, const vap_record& b) { return fields(a) == fields(b); }
bool operator==(const interface_context& a, const interface_context& b) { return fields(a) == fields(b); }

void radio_table::fill_names(const char* base_mac) {
    MacAddr base;
    parse_mac(base_mac, base);
    std::uint32_t r = 0;
    for (interface_context& radio : radios_) {
        radio.name = formatted("wlan%u", r);
        radio.vap_base = r * addresses_per_radio;
        radio.vap_span = addresses_per_radio;
        radio.tx_power_max = default_tx_power_max;
        radio.tx_power_min = default_tx_power_min;
        std::uint32_t v = 0;
        for (vap_record& vap : radio.vaps) {
            vap.name = make_vap_ifname(static_cast<int>(r), static_cast<int>(v));
            // Address 0 of the first block is the base address itself; a VAP's last octet wraps without a carry.
            vap.mac = vap_address(base, 1 + v + radio.vap_base);
            ++v;
        }
        ++r;
    }
}

void radio_table::reset() {
    for (interface_context& radio : radios_) {
        radio.up = radio.wds_enabled = radio.obss_coex = false;
        radio.tx_power_max = default_tx_power_max;
        radio.tx_power_min = default_tx_power_min;
        radio.bandwidth = 0;
        radio.band = 0;
        for (vap_record& vap : radio.vaps) {
            vap.ssid.clear();
            vap.captive_portal = vap.active = vap.enterprise = vap.kv_enabled = false;
        }
    }
}

bool radio_table::operator==(const radio_table& other) const { return radios_ == other.radios_; }

const interface_context* radio_table::get_radio(std::int32_t radio_id) const {
    if (in_range(radio_id, radio_limit)) return &radios_[static_cast<std::size_t>(radio_id)];
    log_error(process_log, "<%s:%d> radio_id %d are absence: %s\n", __func__, __LINE__, radio_id, out_of_range_text);
    return nullptr;
}

interface_context* radio_table::get_radio(std::int32_t radio_id) {
    return const_cast<interface_context*>(static_cast<const radio_table*>(this)->get_radio(radio_id));
}

const vap_record* radio_table::get_vap(const interface_context& radio, std::int32_t vap_id) {
    if (in_range(vap_id, vap_limit)) return &radio.vaps[static_cast<std::size_t>(vap_id)];
    log_error(process_log, "<%s:%d> vap_id %d are absence: %s\n", __func__, __LINE__, vap_id, out_of_range_text);
    return nullptr;
}

vap_record* radio_table::get_vap(interface_context& radio, std::int32_t vap_id) {
    return const_cast<vap_record*>(get_vap(static_cast<const interface_context&>(radio), vap_id));
}

const interface_context* radio_table::radio_by_ifname(const char* ifname) const {
    const int radio_id = radio_index(ifname);
    if (radio_id == -1) {
        log_error(process_log, "<%s:%d> cannot parse interface name(%s)\n", __func__, __LINE__, ifname ? ifname : "");
        return nullptr;
    }
    if (in_range(radio_id, radio_limit)) return &radios_[static_cast<std::size_t>(radio_id)];
    log_error(process_log, "<%s:%d> radio_id %d are absence: %s\n", __func__, __LINE__, radio_id, out_of_range_text);
    return nullptr;
}

std::string radio_table::radio_path(const char* ifname, const char* key) const {
    if (!radio_by_ifname(ifname)) return {};
    return formatted("/interface/%s/wlan/radio%s%s", ifname, *key ? "/" : "", key);
}

std::string vap_path(const char* ifname, const char* key) {
    return formatted("/interface/%s%s", ifname ? ifname : "", key);
}

}  // namespace ravd

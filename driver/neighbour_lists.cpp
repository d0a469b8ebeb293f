#include "driver/neighbour_lists.h"

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/chanspec.h"
#include "message/mac_addr.h"

namespace ravd {
namespace {

constexpr int unknown_operating_class = 255;

}  // namespace

void neighbour_lists::add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                                   bool custom) const {
    if (!context_.radios.flags() || !bssid) return;
    log_debug(process_log, ">>IN: %s\n", bssid);
    neighbour_entry neighbour{{}, ssid ? ssid : "", channel, {0, 0}, unknown_operating_class, priority, custom};
    MacAddr mac;
    if (!parse_mac(bssid, mac)) return;
    neighbour.bssid = mac.octets;
    if (debug_enabled())
        for (std::size_t i = 0; i < neighbour.bssid.size(); ++i)
            log_debug(process_log, "M[%d] = %02X\n", static_cast<int>(i), neighbour.bssid[i]);
    const std::uint32_t band = band_of_channel(channel);
    for (int radio = 0; radio < radio_limit; ++radio) {
        if (!context_.radios.radio_has_band(radio, band)) continue;
        if (!context_.radios.vap_kv_enabled(radio, context_.radios.vap_index_by_ssid(ssid, radio))) continue;
        const char* name = context_.radios.vap_name_by_ssid(ssid, radio);
        if (!name) continue;
        log_debug(process_log, "Execute rrm_nbr_add_nbr '%s' - '%s' - '%s'\n", name, ssid, bssid);
        context_.back_end_of(name)->add_neighbor(neighbour);
    }
}

void neighbour_lists::del_neighbors(const char* ifname) const {
    if (!context_.radios.hostapd_running() || !ifname) return;
    log_debug(process_log, "Execute rrm_nbr_del_nbr '%s'\n", ifname);
    context_.back_end_of(ifname)->del_neighbors();
}

void neighbour_lists::del_custom_neighbors(const char* ifname) const {
    if (!context_.radios.hostapd_running() || !ifname) return;
    log_debug(process_log, "Execute quarn_rrm_nbr_del_nbr '%s'\n", ifname);
    context_.back_end_of(ifname)->del_custom_neighbors();
}

}  // namespace ravd

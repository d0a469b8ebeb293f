// 802.11k neighbour lists of the VAPs.
#include "core/ifname.h"
#include "core/logger.h"
#include "driver/driver_realtek.h"
#include "driver/ioctl_ops.h"
#include "message/mac_addr.h"

namespace ravd {
namespace {

constexpr int unknown_operating_class = 255;

}  // namespace

void driver_realtek::add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                                  bool custom) {
    if (!flags() || !bssid) return;
    log_debug(process_log, ">>IN: %s\n", bssid);
    neighbor_entry neighbor{{}, ssid ? ssid : "", channel, {0, 0}, unknown_operating_class, priority, custom};
    MacAddr mac;
    if (!parse_mac(bssid, mac)) return;
    neighbor.bssid = mac.octets;
    if (debug_enabled())
        for (std::size_t i = 0; i < neighbor.bssid.size(); ++i)
            log_debug(process_log, "M[%d] = %02X\n", static_cast<int>(i), neighbor.bssid[i]);
    const std::uint32_t band = band_of_channel(channel);
    for (int radio = 0; radio < radio_limit; ++radio) {
        if (!radio_has_band(radio, band)) continue;
        if (!vap_kv_enabled(radio, vap_index_by_ssid(ssid, radio))) continue;
        const char* name = vap_name_by_ssid(ssid, radio);
        if (!name) continue;
        log_debug(process_log, "Execute rrm_nbr_add_nbr '%s' - '%s' - '%s'\n", name, ssid, bssid);
        back_end(name)->add_neighbor(name, neighbor);
    }
}

void driver_realtek::del_neighbors(const char* ifname) {
    if (!hostapd_running_ || !ifname) return;
    log_debug(process_log, "Execute rrm_nbr_del_nbr '%s'\n", ifname);
    back_end(ifname)->del_neighbors(ifname);
}

void driver_realtek::del_custom_neighbors(const char* ifname) {
    if (!hostapd_running_ || !ifname) return;
    log_debug(process_log, "Execute quarn_rrm_nbr_del_nbr '%s'\n", ifname);
    back_end(ifname)->del_custom_neighbors(ifname);
}

}  // namespace ravd

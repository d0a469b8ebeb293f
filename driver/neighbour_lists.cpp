#include "driver/neighbour_lists.h"

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/chanspec.h"
#include "message/mac_addr.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr int unknown_operating_class = 255;
constexpr int hung_limit = 2;
constexpr std::int64_t hung_memory_ms = 10000;  // of deletions that no additions follow

}  // namespace

void neighbour_lists::begin_list() {
    if (adding_ || monotonic_ms() - last_hung_ms_ >= hung_memory_ms) hung_commands_ = 0;
    adding_ = false;
}

std::unique_ptr<back_end> neighbour_lists::back_end_for_list(const char* ifname) const {
    auto ops = context_.back_end_of(ifname);
    if (hung_commands_ >= hung_limit) ops->spare_hostapd();
    return ops;
}

void neighbour_lists::count_hung(const back_end& ops) {
    const int hung = ops.hung_commands();
    if (hung == 0) return;
    last_hung_ms_ = monotonic_ms();
    if (hung_commands_ < hung_limit && hung_commands_ + hung >= hung_limit)
        log_warning(process_log, "Commands for neighbours hang: the rest of the list does without hostapd\n");
    hung_commands_ += hung;
}

void neighbour_lists::add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                                   bool custom) {
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
        const auto ops = back_end_for_list(name);
        ops->add_neighbor(neighbour);
        count_hung(*ops);
        adding_ = true;
    }
}

void neighbour_lists::del_neighbors(const char* ifname) {
    if (!context_.radios.hostapd_running() || !ifname) return;
    log_debug(process_log, "Execute rrm_nbr_del_nbr '%s'\n", ifname);
    begin_list();
    const auto ops = back_end_for_list(ifname);
    ops->del_neighbors();
    count_hung(*ops);
}

void neighbour_lists::del_custom_neighbors(const char* ifname) {
    if (!context_.radios.hostapd_running() || !ifname) return;
    log_debug(process_log, "Execute quarn_rrm_nbr_del_nbr '%s'\n", ifname);
    begin_list();
    context_.back_end_of(ifname)->del_custom_neighbors();
}

}  // namespace ravd

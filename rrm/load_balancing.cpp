#include "rrm/load_balancing.h"

#include "core/ifname.h"
#include "core/logger.h"
#include "rrm/kept_text.h"

namespace ravd {
namespace {

constexpr int bss_trans_mode = 1;

}  // namespace

void load_balancing::on_sta_overload(const json_reader& message) {
    const json_reader radios = message.child("radios");
    const std::int32_t count = radios.size();
    const char* ap_mac = kept_text(message, "ap-mac");
    context_.for_each_kv_vap([this](const char* name) { context_.driver.del_custom_neighbors(name); });
    settings_.apply_neighbour_list(message, true);
    std::int32_t unknown = 0;
    for (std::int32_t i = 0; i < count && !context_.progress.cancelled(); ++i) {
        context_.progress.tick();
        const json_reader entry = radios.at(i);
        const std::int32_t id = entry.get_int("id");
        if (id >= 0 && id < context_.radio_count())
            roam_weakest(id, entry.get_int("roam-count"), ap_mac ? ap_mac : "");
        else
            ++unknown;
    }
    if (unknown != 0)
        log_warning(process_log, "%d entries of rrm-sta-overload are not carried out: there are no such radios\n",
                    unknown);
}

void load_balancing::roam_weakest(std::int32_t radio, std::int32_t roam_count, const char* ap_mac) {
    const char* ifname = radio_names[static_cast<std::size_t>(radio)];
    log_debug(process_log, "AP(%s - %s) is overloaded - %d clients will be roamed\n", ap_mac, ifname, roam_count);
    sta_candidates candidates;
    context_.driver.get_assoc_stas(ifname,
                                   [&](const rrm_sta_s& station) { collect_roam_candidate(station, candidates); });
    log_debug(process_log, "Sending BSS Trans Request to clients:\n");
    std::int32_t n = 0;
    for (const auto& [rssi, station] : candidates) {
        if (n >= roam_count || context_.progress.cancelled()) break;
        context_.progress.tick();
        ++n;
        log_debug(process_log, "#%d %s\n", n, station.mac.c_str());
        context_.driver.send_bss_trans_req(station.ifname.c_str(), station.mac.c_str(), bss_trans_mode);
    }
}

void load_balancing::collect_roam_candidate(const rrm_sta_s& station, sta_candidates& candidates) {
    bool inserted = false;
    if (station.roam_attempts != 0) {
        log_debug(process_log, "There has already been an attempt to roam client(%s)\n", station.mac.c_str());
    } else if (!station.no_80211v) {
        candidates.emplace(station.rssi, station);
        inserted = true;
    }
    if (!inserted && station.no_80211v)
        log_debug(process_log, "Client(%s) doesn`t support 802.11v\n", station.mac.c_str());
    // The listing grows with every station: only for those who read it.
    if (!debug_enabled() || context_.progress.cancelled()) return;
    context_.progress.tick();
    log_debug(process_log, "There are %d posible sta to roam:\n", static_cast<int>(candidates.size()));
    for (const auto& [rssi, candidate] : candidates)
        log_debug(process_log, "MAC: %s; RSSI: %d\n", candidate.mac.c_str(), rssi);
}

}  // namespace ravd

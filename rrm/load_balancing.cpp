// Steering of clients away from an overloaded radio, and the roams that a driver reports.
#include "core/logger.h"
#include "rrm/json.h"
#include "rrm/rrm_worker.h"
#include "rrm/tables.h"

namespace ravd {
namespace {

constexpr int bss_trans_mode = 1;
constexpr std::int64_t config_changed_delay_s = 5;  // several changes make one message

}  // namespace

void rrm_worker::on_sta_overload(const json_reader& message) {
    const json_reader radios = message.child("radios");
    const std::int32_t count = radios.size();
    const char* ap_mac = message.get_string("ap-mac");
    for_each_kv_vap([this](const char* name) { driver_.del_custom_neighbors(name); });
    apply_neighbour_list(message, true);
    for (std::int32_t i = 0; i < count && !progress().cancelled(); ++i) {
        progress().tick();
        const json_reader entry = radios.at(i);
        const std::int32_t id = entry.get_int("id");
        if (id >= 0 && id < radio_count()) roam_weakest(id, entry.get_int("roam-count"), ap_mac ? ap_mac : "");
    }
}

void rrm_worker::roam_weakest(std::int32_t radio, std::int32_t roam_count, const char* ap_mac) {
    const char* ifname = radio_names[static_cast<std::size_t>(radio)];
    log_debug(process_log, "AP(%s - %s) is overloaded - %d clients will be roamed\n", ap_mac, ifname, roam_count);
    sta_candidates candidates;
    driver_.get_assoc_stas(ifname, [&](const rrm_sta_s& station) { collect_roam_candidate(station, candidates); });
    log_debug(process_log, "Sending BSS Trans Request to clients:\n");
    std::int32_t n = 0;
    for (const auto& [rssi, station] : candidates) {
        if (n >= roam_count || progress().cancelled()) break;
        progress().tick();
        ++n;
        log_debug(process_log, "#%d %s\n", n, station.mac.c_str());
        driver_.send_bss_trans_req(station.ifname.c_str(), station.mac.c_str(), bss_trans_mode);
    }
}

void rrm_worker::collect_roam_candidate(const rrm_sta_s& station, sta_candidates& candidates) {
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
    if (!debug_enabled() || progress().cancelled()) return;
    progress().tick();
    log_debug(process_log, "There are %d posible sta to roam:\n", static_cast<int>(candidates.size()));
    for (const auto& [rssi, candidate] : candidates)
        log_debug(process_log, "MAC: %s; RSSI: %d\n", candidate.mac.c_str(), rssi);
}

void rrm_worker::on_driver_event(const driver_event_desc& event) {
    if (!subscribed_) return;
    if (event.type == driver_event_desc::station_roamed) {
        if (!use_80211v_ || !event.station) return;
        json_writer message("rrm", "rrm-sta-roam", driver_.get_base_mac());
        message.add_string("domain", domain_.c_str());
        message.add_int("radio", event.radio);
        message.add_string("sta-mac", event.station->mac.c_str());
        message.add_string("ssid", event.station->ssid.c_str());
        message.add_string("target-mac", event.station->target_mac.c_str());
        send_json(to_service_, message);
    } else if (event.type == driver_event_desc::config_changed) {
        remove_timers(timer_config_changed);
        arm(timer_config_changed, config_changed_delay_s);
    }
}

}  // namespace ravd

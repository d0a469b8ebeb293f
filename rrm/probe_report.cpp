// The report of probed stations, once their time is up.
#include "core/logger.h"
#include "rrm/json.h"
#include "rrm/rrm_worker.h"

namespace ravd {

void rrm_worker::post_rrm_probe_response() {
    bool due = false;
    const bool any_entries = count_probe_entries_down(due);
    if (due) {
        json_writer message("rrm", "rrm-probe-response", driver_.get_base_mac());
        message.add_string("domain", domain_.c_str());
        bool reported = false;
        {
            json_writer radios(true, message, "radios");
            for (std::size_t radio = 0; radio < probe_tables_.size(); ++radio)
                if (!probe_tables_[radio].empty()) reported |= add_expired_probes(radios, radio);
        }
        if (reported) send_json(to_service_, message);
    }
    if (any_entries) arm(timer_probe_response, 1);
}

// Takes a second off every entry, and reads the signal of those whose time is up. False when there are none at all.
bool rrm_worker::count_probe_entries_down(bool& due) {
    bool any_entries = false;
    for (std::size_t radio = 0; radio < probe_tables_.size(); ++radio) {
        for (auto& [mac, info] : probe_tables_[radio]) {
            any_entries = true;
            if (info.countdown >= 2) {
                --info.countdown;
                continue;
            }
            info.countdown = 0;
            due = true;
            if (info.rssi != 0) continue;
            const char* ifname =
                driver_.vap_name(static_cast<std::int32_t>(info.vap), static_cast<std::int32_t>(radio));
            if (ifname) info.rssi = driver_.probsup_find(ifname, mac.to_string().c_str());
        }
    }
    return any_entries;
}

// Moves the expired entries of a radio into the report; those of a VAP without SSID are only dropped. True when
// something was reported.
bool rrm_worker::add_expired_probes(json_writer& radios, std::size_t radio) {
    probe_table& table = probe_tables_[radio];
    json_writer object(false, radios, nullptr);
    object.add_int("id", static_cast<std::int32_t>(radio));
    json_writer list(true, object, "probe-list");
    log_debug(process_log, "post_rrm_probe_response: radio %d, prob_size %d\n", static_cast<int>(radio),
              static_cast<int>(table.size()));
    bool reported = false;
    for (auto at = table.begin(); at != table.end();) {
        if (at->second.countdown > 0) {
            ++at;
            continue;
        }
        const char* ssid =
            driver_.vap_ssid(static_cast<std::int32_t>(at->second.vap), static_cast<std::int32_t>(radio));
        if (ssid) {
            json_writer station(false, list, nullptr);
            station.add_string("mac", at->first.to_string().c_str());
            station.add_string("ssid", ssid);
            station.add_int("rssi", at->second.rssi);
            reported = true;
        }
        at = table.erase(at);
    }
    return reported;
}

}  // namespace ravd

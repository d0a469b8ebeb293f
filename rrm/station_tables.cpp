#include "rrm/station_tables.h"

#include "core/ifname.h"
#include "core/logger.h"

namespace ravd {

station_tables::station_tables(agent_context& context)
    : context_(context),
      probe_tables_(static_cast<std::size_t>(context.radio_count())),
      blocked_tables_(probe_tables_.size()) {}

void station_tables::clear() {
    for (probe_table& table : probe_tables_)
        table.clear();
    for (blocked_table& table : blocked_tables_)
        table.clear();
}

void station_tables::post_rrm_probe_response() {
    bool due = false;
    const bool any_entries = count_probe_entries_down(due);
    if (due) {
        agent_message message(context_, "rrm-probe-response");
        bool reported = false;
        {
            json_writer radios(true, message, "radios");
            for (std::size_t radio = 0; radio < probe_tables_.size(); ++radio)
                if (!probe_tables_[radio].empty()) reported |= add_expired_probes(radios, radio);
        }
        if (reported) context_.send(message);
    }
    if (any_entries) context_.timers.arm(timer_probe_response, 1);
}

// Takes a second off every entry, and reads the signal of those whose time is up. False when there are none at all.
bool station_tables::count_probe_entries_down(bool& due) {
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
                context_.driver.vap_name(static_cast<std::int32_t>(info.vap), static_cast<std::int32_t>(radio));
            if (ifname) info.rssi = context_.driver.probsup_find(ifname, mac.to_string().c_str());
        }
    }
    return any_entries;
}

// Moves the expired entries of a radio into the report; those of a VAP without SSID are only dropped. True when
// something was reported.
bool station_tables::add_expired_probes(json_writer& radios, std::size_t radio) {
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
            context_.driver.vap_ssid(static_cast<std::int32_t>(at->second.vap), static_cast<std::int32_t>(radio));
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

void station_tables::count_blocked_down() {
    bool any_entries = false;
    for (std::size_t radio = 0; radio < blocked_tables_.size(); ++radio) {
        blocked_table& table = blocked_tables_[radio];
        for (auto at = table.begin(); at != table.end();) {
            any_entries = true;
            if (at->second >= 2) {
                --at->second;
                ++at;
                continue;
            }
            context_.driver.unblock_sta(radio_names[radio], at->first.to_string().c_str());
            at = table.erase(at);
        }
    }
    if (any_entries) context_.timers.arm(timer_blocked, 1);
}

}  // namespace ravd

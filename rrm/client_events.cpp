// What happens to clients: their events told to the service, and the release of blocked ones.
#include <cstring>

#include "rrm/json.h"
#include "rrm/rrm_worker.h"
#include "rrm/tables.h"

namespace ravd {
namespace {

constexpr const char* message_name(client_event_kind kind) {
    switch (kind) {
        case client_event_kind::connected:
            return "rrm-client-assoc";
        case client_event_kind::gone:
            return "rrm-client-disassoc";
        case client_event_kind::roamed:
            break;
    }
    return "rrm-sta-roam";
}

bool uses_80211v(const json_reader& event) {
    const json_reader info = event.child("client-info");
    const char* answer = info.get_string("using-802.11v");
    return answer && std::strcmp(answer, "yes") == 0;
}

}  // namespace

void rrm_worker::on_client_event(const json_reader& trap) {
    if (!use_80211v_ || !subscribed_ || hostapd_stopped_) return;
    const json_reader event = trap.child("event");
    const char* type = event.get_string("type");
    const client_event_row* row = type ? find_client_event(type) : nullptr;
    if (!row) return;

    json_writer message("rrm", message_name(row->kind), driver_.get_base_mac());
    message.add_string("domain", domain_.c_str());
    if (const char* ifname = event.get_string("dev")) driver_.put_radio_id(ifname, message);
    message.add_string("sta-mac", event.get_string("mac"));
    if (row->kind == client_event_kind::connected) message.add_int("rssi", event.get_int("rssi"));
    message.add_string("ssid", event.get_string("ssid"));
    if (row->kind == client_event_kind::connected) message.add_int("no-balance", uses_80211v(event) ? 0 : 1);
    if (row->kind == client_event_kind::roamed) message.add_string("target-mac", event.get_string("target-mac"));
    send_json(to_service_, message);
}

void rrm_worker::count_blocked_down() {
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
            driver_.unblock_sta(radio_names[radio], at->first.to_string().c_str());
            at = table.erase(at);
        }
    }
    if (any_entries) arm(timer_blocked, 1);
}

}  // namespace ravd

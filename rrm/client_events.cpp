#include "rrm/client_events.h"

#include <cstring>

#include "rrm/kept_text.h"
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

void client_events::on_client_event(const json_reader& trap) {
    if (!settings_.use_80211v() || !state_.subscribed() || state_.hostapd_stopped) return;
    const json_reader event = trap.child("event");
    const char* type = event.get_string("type");
    const client_event_row* row = type ? find_client_event(type) : nullptr;
    if (!row) return;

    agent_message message(context_, message_name(row->kind));
    if (const char* ifname = event.get_string("dev")) context_.driver.put_radio_id(ifname, message);
    message.add_string("sta-mac", kept_text(event, "mac"));
    if (row->kind == client_event_kind::connected) message.add_int("rssi", event.get_int("rssi"));
    message.add_string("ssid", kept_text(event, "ssid"));
    if (row->kind == client_event_kind::connected) message.add_int("no-balance", uses_80211v(event) ? 0 : 1);
    if (row->kind == client_event_kind::roamed) message.add_string("target-mac", kept_text(event, "target-mac"));
    if (context_.send(message)) ++context_.counts.clients_told;
}

void client_events::on_driver_event(const driver_event_desc& event) {
    if (!state_.subscribed()) return;
    if (event.type == driver_event_desc::station_roamed) {
        if (!settings_.use_80211v() || !event.station) return;
        agent_message message(context_, "rrm-sta-roam");
        message.add_int("radio", event.radio);
        message.add_string("sta-mac", event.station->mac.c_str());
        message.add_string("ssid", event.station->ssid.c_str());
        message.add_string("target-mac", event.station->target_mac.c_str());
        if (context_.send(message)) ++context_.counts.clients_told;
    } else if (event.type == driver_event_desc::config_changed) {
        report_.config_changed_soon();
    }
}

}  // namespace ravd

#include "sim/console/frames.h"

#include <cmath>

#include "sim/common/text.h"
#include "sim/console/command_list.h"

namespace ravd::sim {
namespace {

constexpr std::size_t neighbour_limit = 256;

void put_known(json_object* object, const char* key, int value) {
    if (value >= 0) json_put(object, key, value);
}

json_ptr vap_object(const vap_view& vap) {
    json_ptr one = new_json_object();
    json_put(one.get(), "id", vap.id);
    json_put(one.get(), "ssid", vap.ssid);
    json_put(one.get(), "mac", vap.mac);
    json_put_flag(one.get(), "kv", vap.kv);
    json_put_flag(one.get(), "ft", vap.ft);
    return one;
}

json_ptr client_object(const station_view& client) {
    json_ptr one = new_json_object();
    json_put(one.get(), "mac", client.mac);
    json_put(one.get(), "ssid", client.ssid);
    json_put(one.get(), "rssi", client.rssi == 0 ? 0 : dbm(client.rssi));
    return one;
}

void put_locks(json_object* object, const radio_view& radio) {
    std::vector<std::string> locked;
    if (radio.locked_for_dca) locked.push_back("channel");
    if (radio.locked_for_tpc) locked.push_back("power");
    if (radio.locked_for_80211v) locked.push_back("steering");
    json_put(object, "locked", json_texts(locked));
}

json_ptr radio_object(const radio_view& radio, const scan_report* report) {
    json_ptr one = new_json_object();
    json_put(one.get(), "id", radio.id);
    json_put_flag(one.get(), "active", radio.active);
    json_put(one.get(), "band", radio.band);
    json_put(one.get(), "channel", radio.channel);
    json_put(one.get(), "bandwidth", radio.bandwidth);
    json_put(one.get(), "primary", radio.primary);
    json_put(one.get(), "power", radio.power);
    json_put(one.get(), "power-min", radio.power_min);
    json_put(one.get(), "power-max", radio.power_max);
    json_ptr available = new_json_array();
    for (const int channel : radio.available)
        json_append(available.get(), json_ptr(json_object_new_int(channel)));
    json_put(one.get(), "available", std::move(available));
    put_locks(one.get(), radio);
    if (report)
        for (const channel_load& load : report->load)
            if (load.channel == radio.channel) json_put(one.get(), "load", json_decimal(load.load));
    json_ptr vaps = new_json_array();
    for (const vap_view& vap : radio.vaps)
        json_append(vaps.get(), vap_object(vap));
    json_put(one.get(), "vaps", std::move(vaps));
    json_ptr clients = new_json_array();
    for (const station_view& client : radio.stations)
        json_append(clients.get(), client_object(client));
    json_put(one.get(), "clients", std::move(clients));
    return one;
}

json_ptr order_object(const order_record& ordered) {
    json_ptr one = new_json_object();
    json_put(one.get(), "time", ordered.time_ms);
    json_ptr radios = new_json_array();
    for (const auto& [id, radio] : ordered.radios) {
        json_ptr entry = new_json_object();
        json_put(entry.get(), "id", id);
        put_known(entry.get(), "channel", radio.channel);
        put_known(entry.get(), "bandwidth", radio.bandwidth);
        if (!radio.primary.empty()) json_put(entry.get(), "primary", radio.primary);
        put_known(entry.get(), "power", radio.power);
        json_append(radios.get(), std::move(entry));
    }
    json_put(one.get(), "radios", std::move(radios));
    put_known(one.get(), "use-dca", ordered.use_dca);
    put_known(one.get(), "use-tpc", ordered.use_tpc);
    put_known(one.get(), "use-80211v", ordered.use_80211v);
    put_known(one.get(), "use-80211r", ordered.use_80211r);
    return one;
}

json_ptr neighbour_object(json_object* told) {
    json_ptr one = new_json_object();
    json_put(one.get(), "mac", printable(json_text(told, "neighbour-mac"), text_limit));
    json_put(one.get(), "channel", json_number(told, "channel"));
    json_put(one.get(), "priority", json_number(told, "priority"));
    json_ptr vaps = new_json_array();
    json_object* list = json_member(told, "vaps");
    for (std::size_t i = 0; i < std::min(json_length(list), vap_limit); ++i) {
        json_ptr vap = new_json_object();
        json_put(vap.get(), "ssid", printable(json_text(json_element(list, i), "ssid"), text_limit));
        json_put(vap.get(), "mac", printable(json_text(json_element(list, i), "mac"), text_limit));
        json_append(vaps.get(), std::move(vap));
    }
    json_put(one.get(), "vaps", std::move(vaps));
    return one;
}

json_ptr scan_object(const scan_progress::state& scan) {
    json_ptr one = new_json_object();
    json_put(one.get(), "begun", static_cast<std::int64_t>(std::llround(scan.begun * 1000)));
    json_put(one.get(), "delay", scan.delay);
    json_put(one.get(), "rounds", scan.rounds);
    json_put(one.get(), "round-length", scan.round_length);
    json_put(one.get(), "report-delay", scan.report_delay);
    json_put(one.get(), "waiting", static_cast<std::int64_t>(scan.waiting));
    return one;
}

json_ptr load_row(const channel_load& load) {
    json_ptr row = new_json_array();
    json_append(row.get(), json_ptr(json_object_new_int(load.channel)));
    json_append(row.get(), json_decimal(load.load));
    json_append(row.get(), json_ptr(json_object_new_int64(load.bss)));
    json_object_array_add(row.get(), load.bss == 0 ? nullptr : json_object_new_int(load.loudest));
    json_append(row.get(), json_ptr(json_object_new_int(load.in_use ? 1 : 0)));
    return row;
}

// The loudest of each other agent's radios.
json_ptr heard_agents(const agent_record& who, const domain_model& domain) {
    std::map<std::pair<unsigned, int>, int> loudest;
    for (const heard_bss& bss : who.report->heard) {
        const auto owner = domain.owners().find(bss.bssid);
        if (owner == domain.owners().end() || owner->second.agent == who.id) continue;
        loudest.emplace(std::make_pair(owner->second.agent, owner->second.radio), bss.rssi);  // they come first
    }
    json_ptr list = new_json_array();
    for (const auto& [whom, signal] : loudest) {
        json_ptr row = new_json_array();
        json_append(row.get(), json_ptr(json_object_new_int64(whom.first)));
        json_append(row.get(), json_ptr(json_object_new_int(whom.second)));
        json_append(row.get(), json_ptr(json_object_new_int(signal)));
        json_append(list.get(), std::move(row));
    }
    return list;
}

}  // namespace

json_ptr bare_frame(const char* type) {
    json_ptr frame = new_json_object();
    json_put(frame.get(), "type", type);
    return frame;
}

json_ptr hello_frame(const char* mode, std::int64_t now_ms) {
    json_ptr frame = bare_frame("hello");
    json_put(frame.get(), "protocol", 1);
    json_put(frame.get(), "version", RAVD_VERSION);
    json_put(frame.get(), "mode", mode);
    json_put(frame.get(), "time", now_ms);
    json_put(frame.get(), "commands", command_list());
    return frame;
}

json_ptr agent_frame(const agent_record& who, const link_state& link) {
    json_ptr one = new_json_object();
    json_put(one.get(), "id", static_cast<std::int64_t>(who.id));
    json_put(one.get(), "mac", who.mac);
    json_put(one.get(), "address", who.peer);
    json_put(one.get(), "protocol", who.protocol);
    json_put(one.get(), "path", who.path);
    json_put(one.get(), "connected", who.connected_ms);
    if (!who.here()) {
        json_put(one.get(), "closed", who.closed_ms);
        json_put(one.get(), "reason", who.reason);
    }
    json_put_flag(one.get(), "subscribed", who.subscribed);
    json_put(one.get(), "domain", who.domain);
    json_put(one.get(), "heard", who.heard_ms);
    json_put(one.get(), "received", static_cast<std::int64_t>(who.received));
    json_put(one.get(), "violations", static_cast<std::int64_t>(who.violations));
    json_ptr radios = new_json_array();
    for (const radio_view& radio : who.radios)
        json_append(radios.get(), radio_object(radio, who.report.get()));
    json_put(one.get(), "radios", std::move(radios));
    if (who.ordered.time_ms != 0) json_put(one.get(), "ordered", order_object(who.ordered));
    json_ptr neighbours = new_json_array();
    for (std::size_t i = 0; i < std::min(json_length(who.ordered.neighbours.get()), neighbour_limit); ++i)
        json_append(neighbours.get(), neighbour_object(json_element(who.ordered.neighbours.get(), i)));
    json_put(one.get(), "neighbours", std::move(neighbours));
    if (const auto scan = who.scan.current()) json_put(one.get(), "scan", scan_object(*scan));
    json_put_flag(one.get(), "mute", link.mute);
    json_put_flag(one.get(), "reading", link.reading);
    json_ptr frame = bare_frame("agent");
    json_put(frame.get(), "agent", std::move(one));
    return frame;
}

json_ptr report_frame(const agent_record& who, const domain_model& domain) {
    json_ptr frame = bare_frame("report");
    json_put(frame.get(), "agent", static_cast<std::int64_t>(who.id));
    json_put(frame.get(), "time", who.report->time_ms);
    json_put(frame.get(), "rounds", static_cast<std::int64_t>(who.report->rounds));
    json_put(frame.get(), "bss", static_cast<std::int64_t>(who.report->heard.size()));
    json_ptr load = new_json_array();
    for (const channel_load& one : who.report->load)
        json_append(load.get(), load_row(one));
    json_put(frame.get(), "load", std::move(load));
    json_put(frame.get(), "hears", heard_agents(who, domain));
    return frame;
}

json_ptr entry_object(const entry_head& head) {
    json_ptr one = bare_frame("message");
    json_put(one.get(), "seq", static_cast<std::int64_t>(head.seq));
    json_put(one.get(), "time", head.time_ms);
    json_put(one.get(), "agent", static_cast<std::int64_t>(head.agent));
    json_put(one.get(), "mac", head.mac);
    json_put(one.get(), "direction", name_of(head.what));
    json_put(one.get(), "cmd", head.cmd);
    json_put(one.get(), "size", static_cast<std::int64_t>(head.size));
    json_put(one.get(), "text", head.text);
    if (head.of != 0) json_put(one.get(), "of", static_cast<std::int64_t>(head.of));
    if (head.violates) json_put_flag(one.get(), "violates", true);
    return one;
}

}  // namespace ravd::sim

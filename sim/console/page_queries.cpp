#include <algorithm>

#include "sim/console/frames.h"
#include "sim/console/page_state.h"

namespace ravd::sim {
namespace {

constexpr std::size_t entries_limit = 500;
constexpr std::size_t slots_limit = 240;
constexpr std::size_t air_limit = 2000;
constexpr std::size_t points_shown = 60;
constexpr std::int64_t hour_ms = 3600 * 1000;

std::int64_t large_number(json_object* object, const char* key, std::int64_t fallback) {
    json_object* value = json_member(object, key);
    return value ? json_object_get_int64(value) : fallback;
}

bool flag(json_object* object, const char* key) {
    json_object* value = json_member(object, key);
    return value && json_object_get_boolean(value);
}

const agent_record* agent_of(const page_state& state, json_object* request, std::string& error) {
    const agent_record* who = state.domain.find(static_cast<unsigned>(json_number(request, "agent")));
    if (!who) error = "there is no such agent";
    return who;
}

json_ptr answer_entries(const page_state& state, json_object* request, std::string&) {
    entry_filter wanted;
    wanted.agent = static_cast<unsigned>(json_number(request, "agent"));
    wanted.direction = json_text(request, "direction");
    wanted.cmd = json_text(request, "cmd");
    wanted.text = json_text(request, "text");
    wanted.violations = flag(request, "violations");
    const std::int64_t before = large_number(request, "before", 0);
    if (before > 0) wanted.before = static_cast<std::uint64_t>(before);
    const int limit = std::clamp(json_number(request, "limit", 100), 1, static_cast<int>(entries_limit));
    wanted.limit = static_cast<std::size_t>(limit);
    const entry_selection found = select_entries(state.entries, wanted);
    json_ptr list = new_json_array();
    for (const entry_head& head : found.entries)
        json_append(list.get(), entry_object(head));
    json_ptr reply = new_json_object();
    json_put(reply.get(), "entries", std::move(list));
    json_put(reply.get(), "looked-at", static_cast<std::int64_t>(found.looked_at));
    json_put_flag(reply.get(), "more", found.more);
    return reply;
}

json_ptr answer_entry(const page_state& state, json_object* request, std::string& error) {
    std::string line;
    const std::int64_t seq = large_number(request, "seq", 0);
    if (seq <= 0 || !state.entries.line(static_cast<std::uint64_t>(seq), line)) {
        error = "this entry is not kept any more";
        return nullptr;
    }
    json_ptr reply = new_json_object();
    json_ptr parsed = parse_json(line, error);
    if (!parsed) return nullptr;
    json_put(reply.get(), "line", std::move(parsed));
    return reply;
}

void put_bss(json_object* one, const heard_bss& bss) {
    json_put(one, "bssid", mac_text(bss.bssid));
    json_put(one, "rssi", bss.rssi);
    json_put(one, "channel", bss.channel);
    json_put(one, "bandwidth", bss.bandwidth);
    json_put(one, "primary", primary_name(bss.primary));
}

void put_owner(json_object* one, const bss_owner& owner) {
    json_put(one, "owner", static_cast<std::int64_t>(owner.agent));
    json_put(one, "radio", owner.radio);
    json_put(one, "ssid", owner.ssid);
}

json_ptr answer_report(const page_state& state, json_object* request, std::string& error) {
    const agent_record* who = agent_of(state, request, error);
    if (!who) return nullptr;
    json_ptr heard = new_json_array();
    json_ptr reply = new_json_object();
    if (who->report) {
        json_put(reply.get(), "time", who->report->time_ms);
        for (const heard_bss& bss : who->report->heard) {
            json_ptr one = new_json_object();
            put_bss(one.get(), bss);
            json_put(one.get(), "power", bss.tx_power);
            json_put(one.get(), "rounds", static_cast<std::int64_t>(bss.rounds));
            const auto owner = state.domain.owners().find(bss.bssid);
            if (owner != state.domain.owners().end()) put_owner(one.get(), owner->second);
            json_append(heard.get(), std::move(one));
        }
    }
    json_put(reply.get(), "heard", std::move(heard));
    return reply;
}

struct on_air {
    heard_bss bss;
    unsigned by = 0;
    unsigned listeners = 0;
};

// What a radio of ours says of itself is newer than what others heard.
void put_shown(json_object* one, const radio_view& radio) {
    json_put(one, "channel", radio.channel);
    json_put(one, "bandwidth", radio.bandwidth);
    json_put(one, "primary", radio.primary);
}

json_ptr answer_air(const page_state& state, json_object* request, std::string&) {
    const bool low = json_number(request, "band", 2) == 2;
    std::map<std::uint64_t, on_air> all;
    const auto& owners = state.domain.owners();
    for (const auto& [bssid, owner] : owners)
        if (owner.shown->active && (owner.shown->band == 2) == low) {
            all[bssid].bss.bssid = bssid;
        }
    for (const auto& [number, who] : state.domain.agents()) {
        if (!who->here() || !who->report) continue;
        for (const heard_bss& bss : who->report->heard) {
            const bool ours = owners.count(bss.bssid) != 0;
            if (!ours && (bss.channel < 36) != low) continue;
            if (ours && all.count(bss.bssid) == 0) continue;  // it is elsewhere by now
            on_air& one = all[bss.bssid];
            if (one.listeners++ > 0 && bss.rssi <= one.bss.rssi) continue;
            one.by = number;
            one.bss = bss;
        }
    }
    std::vector<const on_air*> sorted;
    sorted.reserve(all.size());
    for (const auto& entry : all)
        sorted.push_back(&entry.second);
    const auto signal = [](const on_air* one) { return one->listeners == 0 ? -200 : one->bss.rssi; };
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](const on_air* a, const on_air* b) { return signal(a) > signal(b); });
    json_ptr list = new_json_array();
    for (std::size_t i = 0; i < std::min(sorted.size(), air_limit); ++i) {
        const on_air& bss = *sorted[i];
        json_ptr one = new_json_object();
        put_bss(one.get(), bss.bss);
        if (bss.listeners == 0)
            json_object_object_del(one.get(), "rssi");
        else
            json_put(one.get(), "by", static_cast<std::int64_t>(bss.by));
        json_put(one.get(), "listeners", static_cast<std::int64_t>(bss.listeners));
        const auto owner = owners.find(bss.bss.bssid);
        if (owner != owners.end()) {
            put_owner(one.get(), owner->second);
            put_shown(one.get(), *owner->second.shown);
        }
        json_append(list.get(), std::move(one));
    }
    json_ptr reply = new_json_object();
    json_put(reply.get(), "bss", std::move(list));
    return reply;
}

json_ptr answer_history(const page_state& state, json_object* request, std::string&) {
    const std::int64_t to = std::clamp(large_number(request, "to", state.now_ms), std::int64_t{0}, state.now_ms);
    const std::int64_t first = std::max(state.loads.begin_ms(), to - hour_ms);
    const std::int64_t from = std::clamp(large_number(request, "from", first), std::int64_t{0}, to);
    const int slots = std::clamp(json_number(request, "slots", 60), 1, static_cast<int>(slots_limit));
    const load_history::grid grid =
        state.loads.over(static_cast<unsigned>(json_number(request, "agent")), json_number(request, "band"), from, to,
                         static_cast<std::size_t>(slots));
    json_ptr channels = new_json_array();
    for (const int channel : grid.channels)
        json_append(channels.get(), json_ptr(json_object_new_int(channel)));
    json_ptr load = new_json_array();
    for (const std::vector<double>& slot : grid.load) {
        json_ptr row = new_json_array();
        for (const double value : slot)
            json_append(row.get(), value < 0 ? nullptr : json_decimal(value));
        json_append(load.get(), std::move(row));
    }
    json_ptr reply = new_json_object();
    json_put(reply.get(), "from", from);
    json_put(reply.get(), "to", to);
    json_put(reply.get(), "channels", std::move(channels));
    json_put(reply.get(), "load", std::move(load));
    return reply;
}

json_ptr answer_clients(const page_state& state, json_object* request, std::string& error) {
    const agent_record* who = agent_of(state, request, error);
    if (!who) return nullptr;
    json_ptr list = new_json_array();
    const auto* known = state.clients.of(who->id);
    for (const auto& [mac, client] : known ? *known : std::map<std::string, client_history::client>()) {
        json_ptr points = new_json_array();
        std::size_t until = client.points.size();
        while (until > 0 && client.points[until - 1].time_ms > state.now_ms)
            --until;
        if (until == 0) continue;
        for (std::size_t i = until - std::min(until, points_shown); i < until; ++i) {
            json_ptr point = new_json_array();
            json_append(point.get(), json_ptr(json_object_new_int64(client.points[i].time_ms)));
            json_append(point.get(), json_ptr(json_object_new_int(client.points[i].rssi)));
            json_append(points.get(), std::move(point));
        }
        bool here = false;
        for (const radio_view& radio : who->radios)
            for (const station_view& station : radio.stations)
                here = here || station.mac == mac;
        json_ptr one = new_json_object();
        json_put(one.get(), "mac", mac);
        json_put(one.get(), "ssid", client.ssid);
        json_put(one.get(), "radio", client.radio);
        json_put_flag(one.get(), "here", here);
        json_put(one.get(), "points", std::move(points));
        json_append(list.get(), std::move(one));
    }
    json_ptr reply = new_json_object();
    json_put(reply.get(), "clients", std::move(list));
    return reply;
}

}  // namespace

json_ptr answer_query(const page_state& state, const std::string& type, json_object* request, std::string& error) {
    if (type == "entries") return answer_entries(state, request, error);
    if (type == "entry") return answer_entry(state, request, error);
    if (type == "report") return answer_report(state, request, error);
    if (type == "air") return answer_air(state, request, error);
    if (type == "history") return answer_history(state, request, error);
    if (type == "clients") return answer_clients(state, request, error);
    return nullptr;
}

}  // namespace ravd::sim

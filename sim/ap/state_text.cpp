// The answers of "show": JSON on one line.
#include <json-c/json.h>

#include "driver/chanspec.h"
#include "platform/monotonic.h"
#include "sim/ap/air.h"
#include "sim/ap/control.h"
#include "sim/ap/event_log.h"

namespace ravd::sim {
namespace {

void add(json_object* to, const char* key, const std::string& text) {
    json_object_object_add(to, key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}
void add(json_object* to, const char* key, const char* text) { add(to, key, std::string(text)); }
void add(json_object* to, const char* key, std::int64_t number) {
    json_object_object_add(to, key, json_object_new_int64(number));
}
void add_flag(json_object* to, const char* key, bool flag) {
    json_object_object_add(to, key, json_object_new_boolean(flag));
}

std::string take_text(json_object* tree) {
    std::string text = json_object_to_json_string_ext(tree, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    json_object_put(tree);
    return text;
}

json_object* entry_list(const std::vector<neighbour_entry>& entries) {
    json_object* list = json_object_new_array();
    for (const neighbour_entry& entry : entries) {
        json_object* one = json_object_new_object();
        add(one, "bssid", mac_text(entry.bssid));
        add(one, "channel", entry.channel);
        if (!entry.ssid.empty()) add(one, "ssid", entry.ssid);
        add(one, "text", entry.rest);
        json_object_array_add(list, one);
    }
    return list;
}

json_object* vap_tree(const access_point& ap, const radio_state& radio, const vap_state& vap) {
    json_object* tree = json_object_new_object();
    add(tree, "name", vap.name);
    add(tree, "bssid", mac_text(vap.bssid));
    add(tree, "ssid", ap.ssid_of(vap));
    add_flag(tree, "up", ap.vap_up(radio, vap));
    std::int64_t associated = 0;
    for (const station& one : vap.stations)
        associated += one.associated ? 1 : 0;
    add(tree, "stations", associated);
    add(tree, "neighbours", static_cast<std::int64_t>(vap.neighbours.size()));
    add(tree, "custom_neighbours", static_cast<std::int64_t>(vap.custom_neighbours.size()));
    add(tree, "hostapd_neighbours", static_cast<std::int64_t>(vap.hostapd_neighbours.size()));
    return tree;
}

json_object* radio_tree(const access_point& ap, const radio_state& radio) {
    const std::uint32_t chanspec = ap.live_chanspec(radio);
    json_object* tree = json_object_new_object();
    add(tree, "name", radio.name);
    add(tree, "kind", radio.kind == chip_kind::rtk_wifi6 ? "rtk_wifi6" : "rtl8192cd");
    add(tree, "band", radio.band);
    add_flag(tree, "up", radio.up);
    add(tree, "chanspec", chanspec);
    add(tree, "channel", chanspec_ctl_channel(chanspec));
    add(tree, "bandwidth", chanspec_bw(chanspec));
    add(tree, "sideband", sideband_of(chanspec));
    add(tree, "power", radio.power);
    add_flag(tree, "coex", radio.coex);
    add_flag(tree, "scanning", scan_running(radio, monotonic_ms()));
    add(tree, "scans", radio.scan.round);
    json_object* vaps = json_object_new_array();
    for (const vap_state& vap : radio.vaps)
        json_object_array_add(vaps, vap_tree(ap, radio, vap));
    json_object_object_add(tree, "vaps", vaps);
    return tree;
}

}  // namespace

std::string state_text(const access_point& ap, bool agent_connected) {
    json_object* tree = json_object_new_object();
    add(tree, "name", ap.start.name);
    add_flag(tree, "hostapd", ap.hostapd_running);
    add_flag(tree, "agent_subscribed", agent_connected);
    json_object* radios = json_object_new_array();
    for (const radio_state& radio : ap.radios)
        json_object_array_add(radios, radio_tree(ap, radio));
    json_object_object_add(tree, "radios", radios);
    return take_text(tree);
}

std::string stations_text(const access_point& ap, const station_book& stations) {
    json_object* list = json_object_new_array();
    for (const radio_state& radio : ap.radios) {
        for (const vap_state& vap : radio.vaps) {
            for (const station& one : vap.stations) {
                if (!one.associated) continue;
                json_object* tree = json_object_new_object();
                add(tree, "mac", mac_text(one.is.mac));
                add(tree, "vap", vap.name);
                json_object* readings = json_object_new_array();
                for (const int value : stations.readings(one, monotonic_ms()))
                    json_object_array_add(readings, json_object_new_int(value));
                json_object_object_add(tree, "readings", readings);
                add_flag(tree, "v", one.is.v);
                add_flag(tree, "asked_to_roam", one.asked_to_roam);
                json_object_array_add(list, tree);
            }
        }
    }
    return take_text(list);
}

std::string neighbours_text(const access_point& ap) {
    json_object* tree = json_object_new_object();
    for (const radio_state& radio : ap.radios) {
        for (const vap_state& vap : radio.vaps) {
            json_object* lists = json_object_new_object();
            json_object_object_add(lists, "standard", entry_list(vap.neighbours));
            json_object_object_add(lists, "custom", entry_list(vap.custom_neighbours));
            json_object_object_add(lists, "hostapd", entry_list(vap.hostapd_neighbours));
            json_object_object_add(tree, vap.name.c_str(), lists);
        }
    }
    return take_text(tree);
}

}  // namespace ravd::sim

// The answers of "show": JSON on one line.
#include <algorithm>

#include "platform/monotonic.h"
#include "sim/ap/air.h"
#include "sim/ap/control.h"
#include "sim/ap/place_text.h"
#include "sim/common/building.h"
#include "sim/common/json.h"

namespace ravd::sim {
namespace {

json_ptr entry_list(const std::vector<neighbour_entry>& entries) {
    json_ptr list = new_json_array();
    for (const neighbour_entry& entry : entries) {
        json_ptr one = new_json_object();
        json_put(one.get(), "bssid", mac_text(entry.bssid));
        json_put(one.get(), "channel", entry.channel);
        if (!entry.ssid.empty()) json_put(one.get(), "ssid", entry.ssid);
        json_put(one.get(), "text", entry.rest);
        json_append(list.get(), std::move(one));
    }
    return list;
}

std::int64_t size_of(const std::vector<neighbour_entry>& entries) { return static_cast<std::int64_t>(entries.size()); }

json_ptr vap_tree(const access_point& ap, const radio_state& radio, const vap_state& vap) {
    json_ptr tree = new_json_object();
    json_put(tree.get(), "name", vap.name);
    json_put(tree.get(), "bssid", mac_text(vap.bssid));
    json_put(tree.get(), "ssid", ap.ssid_of(vap));
    json_put_flag(tree.get(), "up", ap.vap_up(radio, vap));
    const auto associated =
        std::count_if(vap.stations.begin(), vap.stations.end(), [](const station& one) { return one.associated; });
    json_put(tree.get(), "stations", static_cast<std::int64_t>(associated));
    json_put(tree.get(), "neighbours", size_of(vap.neighbours));
    json_put(tree.get(), "custom_neighbours", size_of(vap.custom_neighbours));
    json_put(tree.get(), "hostapd_neighbours", size_of(vap.hostapd_neighbours));
    return tree;
}

json_ptr radio_tree(const access_point& ap, const radio_state& radio) {
    const std::uint32_t chanspec = ap.live_chanspec(radio);
    json_ptr tree = new_json_object();
    json_put(tree.get(), "name", radio.name);
    json_put(tree.get(), "kind", radio.kind == chip_kind::rtk_wifi6 ? "rtk_wifi6" : "rtl8192cd");
    json_put(tree.get(), "band", radio.band);
    json_put_flag(tree.get(), "up", radio.up);
    json_put(tree.get(), "chanspec", static_cast<std::int64_t>(chanspec));
    json_put(tree.get(), "channel", control_channel(chanspec));
    json_put(tree.get(), "bandwidth", bandwidth_of(chanspec));
    json_put(tree.get(), "sideband", sideband_of(chanspec));
    json_put(tree.get(), "power", radio.power);
    json_put_flag(tree.get(), "coex", radio.coex);
    json_put_flag(tree.get(), "scanning", scan_running(radio, monotonic_ms()));
    json_put(tree.get(), "scans", static_cast<std::int64_t>(radio.scan.round));
    json_ptr vaps = new_json_array();
    for (const vap_state& vap : radio.vaps)
        json_append(vaps.get(), vap_tree(ap, radio, vap));
    json_put(tree.get(), "vaps", std::move(vaps));
    return tree;
}

json_ptr use_tree(const channel_use& use, int power) {
    const channel_block covered = block_of(use);
    json_ptr tree = new_json_object();
    json_put(tree.get(), "channel", use.channel);
    json_put(tree.get(), "bandwidth", use.bandwidth);
    json_put(tree.get(), "low_mhz", covered.low);
    json_put(tree.get(), "high_mhz", covered.high);
    json_put(tree.get(), "power", power);
    return tree;
}

}  // namespace

std::string state_text(const access_point& ap, bool agent_connected) {
    const json_ptr tree = new_json_object();
    json_put(tree.get(), "name", ap.start.name);
    json_put_flag(tree.get(), "hostapd", ap.hostapd_running);
    json_put_flag(tree.get(), "agent_subscribed", agent_connected);
    json_ptr radios = new_json_array();
    for (const radio_state& radio : ap.radios)
        json_append(radios.get(), radio_tree(ap, radio));
    json_put(tree.get(), "radios", std::move(radios));
    return json_compact(tree.get());
}

std::string stations_text(const access_point& ap, const station_book& stations) {
    const json_ptr list = new_json_array();
    for (const radio_state& radio : ap.radios) {
        for (const vap_state& vap : radio.vaps) {
            for (const station& one : vap.stations) {
                if (!one.associated) continue;
                json_ptr tree = new_json_object();
                json_put(tree.get(), "mac", mac_text(one.is.mac));
                json_put(tree.get(), "vap", vap.name);
                json_ptr readings = new_json_array();
                for (const int value : stations.readings(one, monotonic_ms()))
                    json_append(readings.get(), json_ptr(json_object_new_int(value)));
                json_put(tree.get(), "readings", std::move(readings));
                json_put_flag(tree.get(), "v", one.is.v);
                json_put_flag(tree.get(), "asked_to_roam", one.asked_to_roam);
                json_append(list.get(), std::move(tree));
            }
        }
    }
    return json_compact(list.get());
}

std::string air_text(const access_point& ap, const std::vector<presence>& others) {
    const antenna here{mac_number(ap.start.base_mac), ap.start.where.value_or(place{})};
    const json_ptr tree = new_json_object();
    json_ptr points = new_json_array();
    for (const presence& who : others) {
        json_ptr one = new_json_object();
        json_put(one.get(), "name", who.name);
        json_put(one.get(), "base", mac_text(who.base));
        json_put(one.get(), "position", place_tree(who.where));
        json_ptr radios = new_json_array();
        for (const presence_radio& radio : who.radios) {
            json_ptr sent = use_tree(radio.use, radio.power);
            json_put(sent.get(), "rssi", heard_from(ap.start.air, who, radio, here));
            json_append(radios.get(), std::move(sent));
        }
        json_put(one.get(), "radios", std::move(radios));
        json_append(points.get(), std::move(one));
    }
    json_ptr strangers = new_json_array();
    for (const scenario_neighbour& stranger : ap.start.neighbours) {
        json_ptr one = use_tree(stranger.use, stranger.power);
        json_put(one.get(), "bssid", mac_text(stranger.bssid));
        json_put(one.get(), "rssi", stranger.rssi);
        json_append(strangers.get(), std::move(one));
    }
    json_ptr own = new_json_array();
    for (const radio_state& radio : ap.radios)
        if (radio.up) json_append(own.get(), use_tree(use_of(ap.live_chanspec(radio)), radio.power));
    json_put(tree.get(), "own", std::move(own));
    json_put(tree.get(), "access_points", std::move(points));
    json_put(tree.get(), "strangers", std::move(strangers));
    return json_compact(tree.get());
}

std::string neighbours_text(const access_point& ap) {
    const json_ptr tree = new_json_object();
    for (const radio_state& radio : ap.radios) {
        for (const vap_state& vap : radio.vaps) {
            json_ptr lists = new_json_object();
            json_put(lists.get(), "standard", entry_list(vap.neighbours));
            json_put(lists.get(), "custom", entry_list(vap.custom_neighbours));
            json_put(lists.get(), "hostapd", entry_list(vap.hostapd_neighbours));
            json_put(tree.get(), vap.name.c_str(), std::move(lists));
        }
    }
    return json_compact(tree.get());
}

}  // namespace ravd::sim

// The answers of "show" for people.
#include <algorithm>

#include "platform/monotonic.h"
#include "sim/ap/air.h"
#include "sim/ap/control.h"
#include "sim/ap/place_text.h"
#include "sim/common/building.h"
#include "sim/common/table.h"

namespace ravd::sim {
namespace {

const char* up_or_down(bool up) { return up ? "up" : "down"; }

std::string count_of(const std::vector<neighbour_entry>& entries) { return std::to_string(entries.size()); }

std::string associated(const vap_state& vap) {
    return std::to_string(
        std::count_if(vap.stations.begin(), vap.stations.end(), [](const station& one) { return one.associated; }));
}

void add_entries(table& to, const vap_state& vap, const char* which, const std::vector<neighbour_entry>& entries) {
    for (const neighbour_entry& entry : entries)
        to.add({vap.name, which, mac_text(entry.bssid), std::to_string(entry.channel), entry.ssid});
}

}  // namespace

std::string state_view(const access_point& ap, bool agent_connected) {
    table radios({"radio", "chip", "state", "channel", "MHz", "sideband", "power", "coex", "scans"});
    table vaps({"vap", "state", "bssid", "ssid", "stations", "neighbours", "custom", "hostapd"});
    for (const radio_state& radio : ap.radios) {
        const std::uint32_t chanspec = ap.live_chanspec(radio);
        const bool scanning = scan_running(radio, monotonic_ms());
        radios.add({radio.name, radio.kind == chip_kind::rtk_wifi6 ? "rtk_wifi6" : "rtl8192cd", up_or_down(radio.up),
                    std::to_string(control_channel(chanspec)), std::to_string(bandwidth_of(chanspec)),
                    sideband_of(chanspec), std::to_string(radio.power), radio.coex ? "on" : "off",
                    std::to_string(radio.scan.round) + (scanning ? ", one runs" : "")});
        for (const vap_state& vap : radio.vaps)
            vaps.add({vap.name, up_or_down(ap.vap_up(radio, vap)), mac_text(vap.bssid), ap.ssid_of(vap),
                      associated(vap), count_of(vap.neighbours), count_of(vap.custom_neighbours),
                      count_of(vap.hostapd_neighbours)});
    }
    return std::string("  hostapd ") + (ap.hostapd_running ? "runs" : "does not run") + ", the agent is " +
           (agent_connected ? "subscribed" : "not subscribed") + "\n" + radios.text() + "\n" + vaps.text();
}

std::string stations_view(const access_point& ap, const station_book& stations) {
    table all({"station", "vap", "dBm", "802.11v", "asked to roam"});
    for (const radio_state& radio : ap.radios)
        for (const vap_state& vap : radio.vaps)
            for (const station& one : vap.stations) {
                if (!one.associated) continue;
                const auto readings = stations.readings(one, monotonic_ms());
                all.add({mac_text(one.is.mac), vap.name,
                         std::to_string(*std::max_element(readings.begin(), readings.end())), one.is.v ? "yes" : "no",
                         one.asked_to_roam ? "yes" : "no"});
            }
    return all.text();
}

std::string air_view(const access_point& ap, const std::vector<presence>& others) {
    const antenna own{mac_number(ap.start.base_mac), ap.start.where.value_or(place{})};
    table all({"access point or stranger", "position", "address", "channel", "MHz", "power", "dBm here"});
    for (const presence& who : others)
        for (const presence_radio& radio : who.radios)
            all.add({who.name, place_words(who.where), mac_text(who.base), std::to_string(radio.use.channel),
                     std::to_string(radio.use.bandwidth), std::to_string(radio.power),
                     std::to_string(heard_from(ap.start.air, who, radio, own))});
    for (const scenario_neighbour& stranger : ap.start.neighbours)
        all.add({stranger.ssid, stranger.where ? place_words(*stranger.where) : "", mac_text(stranger.bssid),
                 std::to_string(stranger.use.channel), std::to_string(stranger.use.bandwidth),
                 std::to_string(stranger.power), std::to_string(stranger.rssi)});
    return all.text();
}

std::string neighbours_view(const access_point& ap) {
    table all({"vap", "list", "bssid", "channel", "ssid"});
    for (const radio_state& radio : ap.radios)
        for (const vap_state& vap : radio.vaps) {
            add_entries(all, vap, "standard", vap.neighbours);
            add_entries(all, vap, "custom", vap.custom_neighbours);
            add_entries(all, vap, "hostapd", vap.hostapd_neighbours);
        }
    return all.text();
}

}  // namespace ravd::sim

#include "sim/service/radio_view.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>

#include "sim/common/text.h"

namespace ravd::sim {
namespace {

std::string bounded(json_object* object, const char* key) { return printable(json_text(object, key), text_limit); }

std::vector<int> channel_list(const std::string& text) {
    std::vector<int> channels;
    const char* at = text.c_str();
    while (*at && channels.size() < 256) {
        char* end = nullptr;
        const long value = std::strtol(at, &end, 10);
        if (end == at) break;
        if (value > 0 && value < 65536) channels.push_back(static_cast<int>(value));
        at = end;
    }
    return channels;
}

radio_view read_radio(json_object* object) {
    radio_view radio;
    radio.id = json_number(object, "id", -1);
    radio.active = json_number(object, "status") != 0;
    radio.locked_for_dca = json_number(object, "locked-for-dca", 1) != 0;
    radio.locked_for_tpc = json_number(object, "locked-for-tpc", 1) != 0;
    radio.locked_for_balancer = json_number(object, "locked-for-balancer", 1) != 0;
    radio.locked_for_80211v = json_number(object, "locked-for-80211v", 1) != 0;
    radio.power = json_number(object, "power");
    radio.power_max = json_number(object, "power-max");
    radio.power_min = json_number(object, "power-min");
    radio.channel = json_number(object, "channel");
    radio.band = json_number(object, "band");
    radio.bandwidth = json_number(object, "bandwidth");
    radio.primary = bounded(object, "primary-channel");
    radio.available = channel_list(json_text(object, "available-channels"));
    json_object* vaps = json_member(object, "vaps");
    for (std::size_t i = 0; i < std::min(json_length(vaps), vap_limit); ++i) {
        json_object* vap = json_element(vaps, i);
        radio.vaps.push_back({json_number(vap, "id"), bounded(vap, "ssid"), bounded(vap, "mac"),
                              json_number(vap, "802dot11k") != 0, json_number(vap, "802dot11r") != 0});
    }
    json_object* stations = json_member(object, "assoclist");
    radio.lists_stations = stations != nullptr;
    for (std::size_t i = 0; i < std::min(json_length(stations), station_limit); ++i) {
        json_object* station = json_element(stations, i);
        radio.stations.push_back({bounded(station, "mac"), bounded(station, "ssid"), json_number(station, "rssi")});
    }
    return radio;
}

}  // namespace

std::vector<radio_view> read_radios(json_object* message) {
    std::vector<radio_view> radios;
    json_object* list = json_member(message, "radios");
    for (std::size_t i = 0; i < std::min(json_length(list), radio_limit); ++i)
        radios.push_back(read_radio(json_element(list, i)));
    return radios;
}

void keep_clients(const std::vector<radio_view>& before, std::vector<radio_view>& now) {
    for (radio_view& radio : now)
        for (const radio_view& old : before)
            if (old.id == radio.id && radio.active && !radio.lists_stations) radio.stations = old.stations;
}

void follow_clients(json_object* message, std::vector<radio_view>& radios) {
    const std::string cmd = json_text(message, "cmd");
    const bool all = cmd == "rrm-disassoc-all-clients";
    const bool came = cmd == "rrm-client-assoc";
    if (!all && !came && cmd != "rrm-client-disassoc" && cmd != "rrm-sta-roam") return;
    const station_view client = {bounded(message, "sta-mac"), bounded(message, "ssid"), json_number(message, "rssi")};
    const auto gone = [&](const station_view& one) {
        return all || strcasecmp(one.mac.c_str(), client.mac.c_str()) == 0;
    };
    for (radio_view& radio : radios) {
        auto& list = radio.stations;
        list.erase(std::remove_if(list.begin(), list.end(), gone), list.end());
        const bool here = came && json_member(message, "radio") && json_number(message, "radio") == radio.id;
        if (here && list.size() < station_limit) list.push_back(client);
    }
}

std::vector<reported_bss> read_environment(json_object* message) {
    std::vector<reported_bss> heard;
    json_object* rounds = json_member(message, "rf-environment");
    for (std::size_t round = 0; round < json_length(rounds); ++round) {
        json_object* list = json_element(rounds, round);
        for (std::size_t i = 0; i < json_length(list) && heard.size() < heard_limit; ++i) {
            json_object* entry = json_element(list, i);
            heard.push_back({bounded(entry, "bssid"), json_number(entry, "rssi"), json_number(entry, "channel"),
                             json_number(entry, "tx-power"), bounded(entry, "primary-channel"),
                             json_number(entry, "bandwidth"), static_cast<int>(std::min<std::size_t>(round, 255))});
        }
    }
    return heard;
}

int dbm(int rssi) { return rssi > 0 ? std::min(rssi, 100) - 100 : std::max(rssi, -120); }

}  // namespace ravd::sim

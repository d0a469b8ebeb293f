#include "sim/ap/generate.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sim/ap/place_text.h"
#include "sim/common/json.h"
#include "tools/common/number.h"

namespace ravd::sim {
namespace {

std::string number_text(const building& from, std::size_t access_point) {
    const int width = from.access_points.size() > 99 ? 3 : 2;
    char text[16];
    std::snprintf(text, sizeof text, "%0*zu", width, access_point + 1);
    return text;
}

void put_use(json_object* tree, const channel_use& use) {
    json_put(tree, "channel", use.channel);
    json_put(tree, "bandwidth", use.bandwidth);
    if (use.bandwidth == 40) json_put(tree, "sideband", use.sideband);
}

json_ptr station_list(const building& from, std::size_t home) {
    json_ptr list = new_json_array();
    for (const building_station& station : from.stations) {
        if (static_cast<std::size_t>(station.home) != home) continue;
        json_ptr one = new_json_object();
        json_put(one.get(), "mac", mac_text(station.mac));
        json_put(one.get(), "position", place_tree(station.where));
        if (!station.v) json_put_flag(one.get(), "v", false);
        if (!station.obeys) json_put_flag(one.get(), "obeys", false);
        json_append(list.get(), std::move(one));
    }
    return list;
}

json_ptr radio_tree(const building& from, const building_radio& radio, json_ptr stations) {
    json_ptr tree = new_json_object();
    put_use(tree.get(), radio.use);
    json_put(tree.get(), "power", radio.power);
    json_put(tree.get(), "power_min", radio.power_min);
    json_put(tree.get(), "power_max", radio.power_max);
    json_put(tree.get(), "country", "DE");
    json_ptr channels = new_json_array();
    for (const int channel : radio.channels)
        json_append(channels.get(), json_ptr(json_object_new_int(channel)));
    json_put(tree.get(), "channels", std::move(channels));
    json_ptr vap = new_json_object();
    json_put(vap.get(), "ssid", from.ssid);
    json_put_flag(vap.get(), "ft", true);
    json_put(vap.get(), "stations", std::move(stations));
    json_ptr vaps = new_json_array();
    json_append(vaps.get(), std::move(vap));
    json_put(tree.get(), "vaps", std::move(vaps));
    return tree;
}

json_ptr stranger_list(const building& from, const building_access_point& ap) {
    json_ptr list = new_json_array();
    for (const building_network& network : from.strangers) {
        const int rssi =
            heard_dbm(from.air, band_of(network.use.channel), network.power, antenna_of(network), antenna_of(ap));
        if (rssi < hearing_limit_dbm) continue;
        json_ptr one = new_json_object();
        json_put(one.get(), "bssid", mac_text(network.bssid));
        json_put(one.get(), "ssid", network.ssid);
        put_use(one.get(), network.use);
        json_put(one.get(), "power", network.power);
        json_put(one.get(), "position", place_tree(network.where));
        json_append(list.get(), std::move(one));
    }
    return list;
}

}  // namespace

bool parse_building(const std::string& text, building_kind& kind, int& access_points) {
    const std::size_t colon = text.find(':');
    const auto known = building_kind_of(text.substr(0, colon));
    if (!known || colon == std::string::npos) return false;
    kind = *known;
    return parse_number(text.substr(colon + 1), 1, building_size_limit, access_points);
}

std::string scenario_text(const building& from, std::size_t access_point) {
    const building_access_point& ap = from.access_points[access_point];
    const std::string number = number_text(from, access_point);
    const json_ptr tree = new_json_object();
    json_put(tree.get(), "name", std::string(building_kind_word(from.air.kind)) + " " + number);
    json_put(tree.get(), "seed",
             static_cast<std::int64_t>(from.air.seed % 1000000) * 1000 + static_cast<std::int64_t>(access_point));
    json_ptr air = new_json_object();
    json_put(air.get(), "kind", building_kind_word(from.air.kind));
    json_put(air.get(), "seed", static_cast<std::int64_t>(from.air.seed));
    json_put(tree.get(), "building", std::move(air));
    json_put(tree.get(), "position", place_tree(ap.where));
    json_ptr factory = new_json_object();
    json_put(factory.get(), "serial", "SIM" + std::to_string(from.air.seed) + "-" + number);
    json_put(factory.get(), "mac", mac_text(ap.base));
    json_put(tree.get(), "factory", std::move(factory));
    json_ptr radios = new_json_array();
    // Stations stand under the upper band; in an air they look for themselves.
    json_append(radios.get(), radio_tree(from, ap.radios[0], new_json_array()));
    json_append(radios.get(), radio_tree(from, ap.radios[1], station_list(from, access_point)));
    json_put(tree.get(), "radios", std::move(radios));
    json_put(tree.get(), "neighbours", stranger_list(from, ap));
    return json_object_to_json_string_ext(tree.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE) +
           std::string("\n");
}

std::size_t write_scenarios(const building& from, const std::string& directory, std::string& reason) {
    if (mkdir(directory.c_str(), 0755) != 0 && errno != EEXIST) {
        reason = directory + ": " + std::strerror(errno);
        return 0;
    }
    for (std::size_t n = 0; n < from.access_points.size(); ++n) {
        const std::string path = directory + "/ap-" + number_text(from, n) + ".json";
        const std::string text = scenario_text(from, n);
        std::FILE* file = std::fopen(path.c_str(), "we");
        bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
        if (file) written = std::fclose(file) == 0 && written;
        if (written) continue;
        reason = path + ": " + std::strerror(errno);
        return 0;
    }
    return from.access_points.size();
}

}  // namespace ravd::sim

#include "sim/ap/scenario.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "sim/ap/crowd.h"
#include "sim/ap/json_cursor.h"
#include "sim/ap/place_text.h"
#include "sim/ap/roaming.h"
#include "sim/common/building.h"
#include "sim/common/json.h"

namespace ravd::sim {
namespace {

constexpr std::size_t text_limit = 1024 * 1024;
constexpr std::size_t neighbour_limit = 4000;  // a reply of the driver holds 4680

mac_octets read_mac(const json_cursor& from, const char* key) {
    const std::string text = from.required_text(key, 64);
    const auto octets = parse_mac(text);
    if (!octets) from.fail_at(key, "\"" + text + "\" is not a hardware address (six hexadecimal pairs)");
    return octets.value_or(mac_octets{});
}

scenario_station read_station(const json_cursor& from) {
    from.allow({"mac", "rssi", "v", "obeys", "position"});
    scenario_station station;
    station.mac = read_mac(from, "mac");
    station.rssi = from.integer("rssi", station.rssi, -100, -10);
    station.v = from.flag("v", station.v);
    station.obeys = from.flag("obeys", station.obeys);
    if (from.has("position")) station.where = read_place(from, "position");
    return station;
}

scenario_vap read_vap(const json_cursor& from) {
    from.allow({"ssid", "enabled", "security", "kv", "ft", "captive_portal", "stations"});
    scenario_vap vap;
    vap.ssid = from.text("ssid", "", 32);
    vap.enabled = from.flag("enabled", vap.enabled);
    vap.security = from.text("security", vap.security, 63);
    vap.kv = from.flag("kv", vap.kv);
    vap.ft = from.flag("ft", vap.ft);
    vap.captive_portal = from.flag("captive_portal", vap.captive_portal);
    for (const json_cursor& station : from.elements("stations"))
        vap.stations.push_back(read_station(station));
    return vap;
}

channel_use read_channel(const json_cursor& from, const char* key) {
    channel_use use;
    use.channel = from.required_integer(key, 1, 165);
    use.bandwidth = from.integer("bandwidth", 20, 20, 80);
    use.sideband = from.word("sideband", "none", {"none", "lower", "upper"});
    if (!make_chanspec(use))
        from.fail_at(key, "there is no channel " + std::to_string(use.channel) + " of " +
                              std::to_string(use.bandwidth) + " MHz" +
                              (use.sideband == "none" ? "" : " with sideband " + use.sideband));
    return use;
}

scenario_radio read_radio(const json_cursor& from) {
    from.allow({"kind", "up", "channel", "bandwidth", "sideband", "auto_channel", "power", "power_min", "power_max",
                "country", "coex", "wds", "channels", "limit_channels", "vaps"});
    scenario_radio radio;
    const std::string kind = from.word("kind", "rtl8192cd", {"rtl8192cd", "rtk_wifi6"});
    radio.kind = kind == "rtk_wifi6" ? chip_kind::rtk_wifi6 : chip_kind::rtl8192cd;
    radio.up = from.flag("up", radio.up);
    radio.use = read_channel(from, "channel");
    radio.band = band_of(radio.use.channel);
    radio.auto_channel = from.flag("auto_channel", radio.auto_channel);
    radio.power_min = from.integer("power_min", radio.power_min, 0, 40);
    radio.power_max = from.integer("power_max", radio.power_max, radio.power_min, 40);
    radio.power = from.integer("power", radio.power_max, radio.power_min, radio.power_max);
    radio.country = from.text("country", radio.country, 8);
    radio.coex = from.flag("coex", radio.coex);
    radio.wds = from.flag("wds", radio.wds);
    const int low = radio.band == 2 ? 1 : 36;
    const int high = radio.band == 2 ? 14 : 165;
    radio.channels = from.integers("channels", usual_channels(radio.band), low, high);
    radio.limit_channels = from.integers("limit_channels", {}, low, high);
    if (std::find(radio.channels.begin(), radio.channels.end(), radio.use.channel) == radio.channels.end())
        from.fail_at("channel", "is not among the radio's channels");
    for (const json_cursor& vap : from.elements("vaps"))
        radio.vaps.push_back(read_vap(vap));
    if (radio.vaps.size() > vap_limit) from.fail_at("vaps", "a radio has at most 7");
    return radio;
}

scenario_neighbour read_neighbour(const json_cursor& from) {
    from.allow({"bssid", "ssid", "channel", "bandwidth", "sideband", "rssi", "power", "position"});
    scenario_neighbour neighbour;
    neighbour.bssid = read_mac(from, "bssid");
    neighbour.ssid = from.text("ssid", "", 32);
    neighbour.use = read_channel(from, "channel");
    neighbour.rssi = from.integer("rssi", neighbour.rssi, -100, -10);
    neighbour.power = from.integer("power", neighbour.power, -20, 40);
    if (from.has("position")) neighbour.where = read_place(from, "position");
    return neighbour;
}

void read_factory(const json_cursor& from, scenario& result) {
    from.allow({"board", "hw", "serial", "mac"});
    result.board = from.text("board", result.board, 31);
    result.hw = from.text("hw", result.hw, 31);
    result.serial = from.text("serial", result.serial, 31);
    if (from.has("mac")) result.base_mac = read_mac(from, "mac");
}

void read_switches(const json_cursor& from, scenario& result) {
    from.allow({"dca", "tpc", "load-balance-80211v"});
    result.dca = from.flag("dca", true);
    result.tpc = from.flag("tpc", true);
    result.load_balance = from.flag("load-balance-80211v", true);
}

void read_config(const json_cursor& from, scenario& result) {
    if (!from.is_object()) return;
    json_object_object_foreach(from.value(), path, value) {
        if (path[0] != '/')
            from.fail_at(path, "a configuration path begins with \"/\"");
        else if (!json_object_is_type(value, json_type_string))
            from.fail_at(path, "must be a text");
        else
            result.config.emplace_back(path, json_object_get_string(value));
    }
}

void read_crowd(const json_cursor& from, scenario& result) {
    from.allow({"neighbours", "stations"});
    const int neighbours = from.integer("neighbours", 0, 0, static_cast<int>(neighbour_limit));
    const int stations = from.integer("stations", 0, 0, 1000);
    add_crowd(result, neighbours, stations);
}

// Addresses that must differ: two stations with one address could not be told apart.
void check_addresses(const json_cursor& root, const scenario& result) {
    std::set<mac_octets> seen;
    for (int r = 0; r < radio_count; ++r) {
        for (std::size_t v = 0; v < result.radios[static_cast<std::size_t>(r)].vaps.size(); ++v) {
            const auto& stations = result.radios[static_cast<std::size_t>(r)].vaps[v].stations;
            for (std::size_t s = 0; s < stations.size(); ++s)
                if (!seen.insert(stations[s].mac).second)
                    root.fail_at(("radios[" + std::to_string(r) + "].vaps[" + std::to_string(v) + "].stations[" +
                                  std::to_string(s) + "].mac")
                                     .c_str(),
                                 mac_text(stations[s].mac) + " is already the address of another station");
        }
    }
    std::set<mac_octets> heard;
    for (std::size_t n = 0; n < result.neighbours.size(); ++n)
        if (!heard.insert(result.neighbours[n].bssid).second)
            root.fail_at(("neighbours[" + std::to_string(n) + "].bssid").c_str(),
                         mac_text(result.neighbours[n].bssid) + " is already another neighbour's");
}

void read_surroundings(const json_cursor& from, surroundings& air) {
    from.allow({"kind", "seed"});
    const std::string kind = from.word("kind", "building", {"building", "office", "street"});
    air.kind = building_kind_of(kind).value_or(building_kind::building);
    air.seed = static_cast<std::uint32_t>(from.integer("seed", 1, 0, 1000000000));
}

// Who has a position is heard as loud as it is from there.
void follow_positions(const json_cursor& root, scenario& result) {
    if (!result.where) {
        const auto placed = [](const auto& one) { return one.where.has_value(); };
        if (std::any_of(result.neighbours.begin(), result.neighbours.end(), placed))
            root.fail_at("position", "is missing: neighbours have one");
        return;
    }
    const antenna own{mac_number(result.base_mac), *result.where};
    for (scenario_neighbour& one : result.neighbours)
        if (one.where)
            one.rssi =
                heard_dbm(result.air, band_of(one.use.channel), one.power, {mac_number(one.bssid), *one.where}, own);
    for (scenario_radio& radio : result.radios)
        for (scenario_vap& vap : radio.vaps)
            for (scenario_station& one : vap.stations)
                if (one.where)
                    one.rssi = heard_dbm(result.air, radio.band, station_power, {mac_number(one.mac), *one.where}, own);
}

void read_root(const json_cursor& root, scenario& result) {
    root.allow({"name", "seed", "scan_speed", "steer_delay_ms", "factory", "corvane", "radios", "neighbours", "crowd",
                "config", "building", "position"});
    result.name = root.text("name", "unnamed", 80);
    result.seed = static_cast<std::uint32_t>(root.integer("seed", 1, 0, 1000000000));
    result.scan_speed = root.number("scan_speed", 1, 0.1, 10000);
    result.steer_delay_ms = root.integer("steer_delay_ms", result.steer_delay_ms, 0, 600000);
    if (root.has("factory")) read_factory(root.child("factory"), result);
    if (root.has("corvane")) read_switches(root.child("corvane"), result);

    const auto radios = root.elements("radios");
    if (radios.size() != radio_count) root.fail_at("radios", "there must be two");
    for (std::size_t r = 0; r < radios.size() && r < radio_count; ++r)
        result.radios[r] = read_radio(radios[r]);
    for (const json_cursor& neighbour : root.elements("neighbours"))
        result.neighbours.push_back(read_neighbour(neighbour));
    if (root.has("crowd")) read_crowd(root.child("crowd"), result);
    if (result.neighbours.size() > neighbour_limit)
        root.fail_at("neighbours", "there may be at most " + std::to_string(neighbour_limit));
    if (root.has("config")) read_config(root.child("config"), result);
    if (root.has("building")) read_surroundings(root.child("building"), result.air);
    if (root.has("position")) result.where = read_place(root, "position");
    follow_positions(root, result);
    check_addresses(root, result);
}

}  // namespace

bool parse_scenario(const std::string& text, scenario& result, std::string& fault) {
    fault.clear();
    if (text.size() > text_limit) {
        fault = "the text is larger than 1 MiB";
        return false;
    }
    std::size_t place = 0;
    const json_ptr tree = parse_json(text, fault, place);
    if (!tree) {
        const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n');
        fault = "line " + std::to_string(line) + ": " + fault;
        return false;
    }
    const json_cursor root(tree.get(), "", fault);
    if (!root.is_object())
        root.fail("must be an object");
    else
        read_root(root, result);
    return fault.empty();
}

bool load_scenario(const std::string& path, scenario& result, std::string& fault) {
    std::string text;
    std::FILE* file = std::fopen(path.c_str(), "re");
    if (!file) {
        fault = path + ": cannot be opened";
        return false;
    }
    char piece[4096];
    std::size_t n;
    while (text.size() <= text_limit && (n = std::fread(piece, 1, sizeof piece, file)) > 0)
        text.append(piece, n);
    std::fclose(file);
    if (parse_scenario(text, result, fault)) return true;
    fault = path + ": " + fault;
    return false;
}

}  // namespace ravd::sim

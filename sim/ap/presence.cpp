#include "sim/ap/presence.h"

#include <algorithm>

#include "sim/ap/channel_plan.h"
#include "sim/ap/json_cursor.h"
#include "sim/ap/place_text.h"
#include "sim/common/building.h"
#include "sim/common/json.h"

namespace ravd::sim {
namespace {

constexpr std::size_t radio_limit = 2;
constexpr std::size_t vap_limit_here = 8;

mac_octets read_address(const json_cursor& from, const char* key) {
    const auto octets = parse_mac(from.required_text(key, 17));
    if (!octets) from.fail_at(key, "is not a hardware address");
    return octets.value_or(no_address);
}

void limit(const json_cursor& from, const char* key, std::size_t count, std::size_t most) {
    if (count > most) from.fail_at(key, "has more than " + std::to_string(most));
}

presence_radio read_radio(const json_cursor& from) {
    presence_radio radio;
    radio.use.channel = from.required_integer("channel", 1, 165);
    radio.use.bandwidth = from.integer("bandwidth", 20, 20, 80);
    radio.use.sideband = from.word("sideband", "none", {"none", "lower", "upper"});
    if (!make_chanspec(radio.use)) from.fail_at("channel", "does not exist");
    radio.power = from.required_integer("power", -20, 40);
    const auto vaps = from.elements("vaps");
    limit(from, "vaps", vaps.size(), vap_limit_here);
    for (const json_cursor& vap : vaps)
        radio.vaps.push_back({read_address(vap, "bssid"), vap.text("ssid", "", 32)});
    return radio;
}

presence_station read_station(const json_cursor& from) {
    presence_station station;
    station.mac = read_address(from, "mac");
    station.where = read_place(from, "position");
    if (from.has("at")) station.at = read_address(from, "at");
    station.asked = from.flag("asked", false);
    station.v = from.flag("v", true);
    station.obeys = from.flag("obeys", true);
    return station;
}

presence_wish read_wish(const json_cursor& from) {
    presence_wish wish;
    wish.station = read_address(from, "station");
    wish.number = from.required_integer("number", 0, 1000000000);
    const auto targets = from.elements("targets");
    limit(from, "targets", targets.size(), presence_target_limit);
    for (const json_cursor& target : targets)
        wish.targets.push_back(read_address(target, "bssid"));
    return wish;
}

void read_root(const json_cursor& root, presence& result) {
    result.base = read_address(root, "base");
    result.name = root.text("name", "", 80);
    result.where = read_place(root, "position");
    const auto radios = root.elements("radios");
    const auto stations = root.elements("stations");
    const auto wishes = root.elements("wishes");
    limit(root, "radios", radios.size(), radio_limit);
    limit(root, "stations", stations.size(), presence_station_limit);
    limit(root, "wishes", wishes.size(), presence_wish_limit);
    for (const json_cursor& radio : radios)
        result.radios.push_back(read_radio(radio));
    for (const json_cursor& station : stations)
        result.stations.push_back(read_station(station));
    for (const json_cursor& wish : wishes)
        result.wishes.push_back(read_wish(wish));
}

json_ptr radio_tree(const presence_radio& radio) {
    json_ptr tree = new_json_object();
    json_put(tree.get(), "channel", radio.use.channel);
    json_put(tree.get(), "bandwidth", radio.use.bandwidth);
    json_put(tree.get(), "sideband", radio.use.sideband);
    json_put(tree.get(), "power", radio.power);
    json_ptr vaps = new_json_array();
    for (const presence_bss& vap : radio.vaps) {
        json_ptr one = new_json_object();
        json_put(one.get(), "bssid", mac_text(vap.bssid));
        json_put(one.get(), "ssid", vap.ssid);
        json_append(vaps.get(), std::move(one));
    }
    json_put(tree.get(), "vaps", std::move(vaps));
    return tree;
}

json_ptr station_tree(const presence_station& station) {
    json_ptr tree = new_json_object();
    json_put(tree.get(), "mac", mac_text(station.mac));
    json_put(tree.get(), "position", place_tree(station.where));
    if (station.at != no_address) json_put(tree.get(), "at", mac_text(station.at));
    json_put_flag(tree.get(), "asked", station.asked);
    json_put_flag(tree.get(), "v", station.v);
    json_put_flag(tree.get(), "obeys", station.obeys);
    return tree;
}

json_ptr wish_tree(const presence_wish& wish) {
    json_ptr tree = new_json_object();
    json_put(tree.get(), "station", mac_text(wish.station));
    json_put(tree.get(), "number", wish.number);
    json_ptr targets = new_json_array();
    for (const mac_octets& target : wish.targets) {
        json_ptr one = new_json_object();
        json_put(one.get(), "bssid", mac_text(target));
        json_append(targets.get(), std::move(one));
    }
    json_put(tree.get(), "targets", std::move(targets));
    return tree;
}

template <typename Record>
void put_list(json_object* tree, const char* key, const std::vector<Record>& records, json_ptr (*make)(const Record&)) {
    json_ptr list = new_json_array();
    for (const Record& record : records)
        json_append(list.get(), make(record));
    json_put(tree, key, std::move(list));
}

}  // namespace

bool operator==(const presence& a, const presence& b) {
    const auto same = [](const auto& left, const auto& right, const auto& equal) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), equal);
    };
    const auto same_vap = [](const presence_bss& x, const presence_bss& y) {
        return x.bssid == y.bssid && x.ssid == y.ssid;
    };
    const auto same_radio = [&](const presence_radio& x, const presence_radio& y) {
        return x.use == y.use && x.power == y.power && same(x.vaps, y.vaps, same_vap);
    };
    const auto same_station = [](const presence_station& x, const presence_station& y) {
        return x.mac == y.mac && x.where == y.where && x.at == y.at && x.asked == y.asked && x.v == y.v &&
               x.obeys == y.obeys;
    };
    const auto same_wish = [](const presence_wish& x, const presence_wish& y) {
        return x.station == y.station && x.number == y.number && x.targets == y.targets;
    };
    return a.base == b.base && a.name == b.name && a.where == b.where && same(a.radios, b.radios, same_radio) &&
           same(a.stations, b.stations, same_station) && same(a.wishes, b.wishes, same_wish);
}

std::string presence_text(const presence& what) {
    const json_ptr tree = new_json_object();
    json_put(tree.get(), "base", mac_text(what.base));
    json_put(tree.get(), "name", what.name);
    json_put(tree.get(), "position", place_tree(what.where));
    put_list(tree.get(), "radios", what.radios, radio_tree);
    put_list(tree.get(), "stations", what.stations, station_tree);
    put_list(tree.get(), "wishes", what.wishes, wish_tree);
    return json_compact(tree.get());
}

bool parse_presence(const std::string& text, presence& result, std::string& fault) {
    fault.clear();
    result = {};
    const json_ptr tree = parse_json(text, fault);
    if (!tree) return false;
    const json_cursor root(tree.get(), "", fault);
    if (!root.is_object())
        root.fail("must be an object");
    else
        read_root(root, result);
    return fault.empty();
}

int heard_from(const surroundings& air, const presence& who, const presence_radio& radio, const antenna& at) {
    return heard_dbm(air, band_of(radio.use.channel), radio.power, {mac_number(who.base), who.where}, at);
}

}  // namespace ravd::sim

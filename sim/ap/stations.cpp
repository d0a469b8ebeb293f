#include "sim/ap/stations.h"

#include <algorithm>
#include <cstdlib>

#include "sim/ap/event_log.h"
#include "sim/ap/noise.h"

namespace ravd::sim {

station_book::place station_book::find(const mac_octets& mac) {
    for (radio_state& radio : ap_.radios)
        for (vap_state& vap : radio.vaps)
            for (station& one : vap.stations)
                if (one.is.mac == mac) return {&vap, &one};
    return {};
}

void station_book::tell(const char* type, const vap_state& vap, const station& one, const std::string& target) const {
    if (!told_) return;
    client_event event;
    event.type = type;
    event.dev = vap.name;
    event.mac = mac_text(one.is.mac);
    event.ssid = ap_.ssid_of(vap);
    event.rssi = one.is.rssi;
    event.v = one.is.v;
    event.target_mac = target;
    told_(event);
}

std::string station_book::join(const std::string& ifname, const scenario_station& who, bool guest) {
    vap_state* vap = ap_.vap_of(ifname);
    if (!vap) return ifname + " is no VAP of this access point";
    if (!ap_.vap_up(*ap_.radio_of(ifname), *vap)) return ifname + " is not up";
    forget(who.mac);
    station added;
    added.is = who;
    added.associated = true;
    added.guest = guest;
    vap->stations.push_back(added);
    tell("auth", *vap, added);
    return {};
}

std::string station_book::leave(const mac_octets& mac, const std::string& event, const mac_octets& target) {
    const place at = find(mac);
    if (!at.one || !at.one->associated) return mac_text(mac) + " is not associated";
    at.one->associated = at.one->wanted = false;
    tell(event.c_str(), *at.vap, *at.one, target == mac_octets{} ? "" : mac_text(target));
    return {};
}

void station_book::forget(const mac_octets& mac) {
    const place at = find(mac);
    if (!at.one) return;
    auto& list = at.vap->stations;
    list.erase(list.begin() + (at.one - list.data()));
}

std::string station_book::roam(const mac_octets& mac, const mac_octets& target) {
    std::string reason = leave(mac, "80211v-roam", target);
    if (!reason.empty()) return reason;
    const scenario_station who = find(mac).one->is;
    for (radio_state& radio : ap_.radios)
        for (vap_state& vap : radio.vaps)
            if (vap.bssid == target && ap_.vap_up(radio, vap)) return join(vap.name, who);
    return {};
}

void station_book::settle(bool telling) {
    for (radio_state& radio : ap_.radios) {
        for (vap_state& vap : radio.vaps) {
            const bool up = ap_.vap_up(radio, vap);
            for (station& one : vap.stations) {
                const bool now = up && one.wanted;
                if (now == one.associated) continue;
                one.associated = now;
                one.asked_to_roam = false;
                if (telling) tell(now ? "auth" : "send-disassoc", vap, one);
            }
        }
    }
}

bool station_book::ask_to_roam(vap_state& vap, const mac_octets& mac, std::int64_t now_ms) {
    const place at = find(mac);
    if (at.vap != &vap || !at.one->associated) return false;
    at.one->asked_to_roam = true;
    const radio_state* radio = ap_.radio_of(vap.name);
    const auto timeout = radio->mibs.find(vap.name + " roam_attempt_timeout");
    const int seconds = timeout == radio->mibs.end() ? 0 : std::atoi(timeout->second.c_str());
    at.one->asked_until_ms = seconds > 0 ? now_ms + seconds * std::int64_t{1000} : 0;
    return true;
}

std::vector<mac_octets> station_book::roam_targets(const vap_state& vap) {
    std::vector<mac_octets> offered;
    for (const neighbour_entry& entry : vap.custom_neighbours.empty() ? vap.neighbours : vap.custom_neighbours)
        offered.push_back(entry.bssid);
    return offered;
}

mac_octets station_book::roam_target(const vap_state& vap) const {
    const auto offered = roam_targets(vap);
    if (!offered.empty()) return offered.front();
    const std::string ssid = ap_.ssid_of(vap);
    for (const auto* all : {&ap_.start.neighbours, &ap_.nearby})
        for (const scenario_neighbour& neighbour : *all)
            if (neighbour.ssid == ssid) return neighbour.bssid;
    return {};
}

std::array<int, 4> station_book::readings(const station& one, std::int64_t now_ms) const {
    std::uint32_t name = 0;
    for (const std::uint8_t octet : one.is.mac)
        name = name * 31 + octet;
    const auto moment = static_cast<std::uint32_t>(now_ms / 2000);
    std::array<int, 4> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto antenna = static_cast<std::uint32_t>(i);
        // The best antenna, a station's own, hears most; the others some dB less.
        const int less = antenna == name % 4 ? 0 : 3 + static_cast<int>(mix({name, antenna}) % 8);
        const int moving = wobble(mix({ap_.start.seed, name, antenna, moment}), 6);
        values[i] = std::clamp(one.is.rssi - less + moving, -100, -1);
    }
    return values;
}

}  // namespace ravd::sim

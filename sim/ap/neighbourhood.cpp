#include "sim/ap/neighbourhood.h"

#include <algorithm>
#include <set>
#include <utility>

#include "sim/ap/roaming.h"
#include "sim/common/building.h"

namespace ravd::sim {
namespace {

constexpr std::int64_t hold_ms = 60000;   // a station that was sent somewhere does not go back at once
constexpr std::int64_t settle_ms = 1000;  // until stations choose for the first time
constexpr std::size_t guest_limit = 1000;

bool sends(const presence& who, const mac_octets& bssid) {
    for (const presence_radio& radio : who.radios)
        for (const presence_bss& vap : radio.vaps)
            if (vap.bssid == bssid) return true;
    return false;
}

}  // namespace

void neighbourhood::begin(std::function<void()> changed, std::int64_t now_ms) {
    changed_ = std::move(changed);
    first_look_ms_ = now_ms + settle_ms;
    for (radio_state& radio : ap_.radios) {
        for (vap_state& vap : radio.vaps) {
            for (const station& one : vap.stations) {
                if (!one.is.where) continue;
                roamer added;
                added.is = one.is;
                added.ssid = ap_.ssid_of(vap);
                roamers_.push_back(std::move(added));
            }
            const auto moves = [](const station& one) { return one.is.where.has_value(); };
            vap.stations.erase(std::remove_if(vap.stations.begin(), vap.stations.end(), moves), vap.stations.end());
        }
    }
}

neighbourhood::roamer* neighbourhood::find(const mac_octets& mac) {
    for (roamer& one : roamers_)
        if (one.is.mac == mac) return &one;
    return nullptr;
}

presence neighbourhood::present() const {
    presence own;
    own.base = ap_.start.base_mac;
    own.name = ap_.start.name;
    own.where = ap_.start.where.value_or(place{});
    for (const radio_state& radio : ap_.radios) {
        presence_radio sent;
        sent.use = use_of(ap_.live_chanspec(radio));
        sent.power = radio.power;
        for (const vap_state& vap : radio.vaps)
            if (ap_.vap_up(radio, vap)) sent.vaps.push_back({vap.bssid, ap_.ssid_of(vap)});
        if (!sent.vaps.empty()) own.radios.push_back(std::move(sent));
    }
    for (const roamer& one : roamers_)
        if (own.stations.size() < presence_station_limit)
            own.stations.push_back({one.is.mac, *one.is.where, one.at, one.asked, one.is.v, one.is.obeys});
    for (const auto& [station, wish] : wishes_)
        if (own.wishes.size() < presence_wish_limit) own.wishes.push_back(wish);
    return own;
}

int neighbourhood::arriving(const mac_octets& mac, const place& where, const radio_state& radio) const {
    const antenna own{mac_number(ap_.start.base_mac), ap_.start.where.value_or(place{})};
    const int rssi = heard_dbm(ap_.start.air, radio.band, station_power, {mac_number(mac), where}, own);
    return std::clamp(rssi, -100, -10);
}

void neighbourhood::hear(std::vector<presence> others, std::int64_t now_ms) {
    others_ = std::move(others);
    due_ = true;
    follow_nearby();
    follow_guests();
    obey_wishes(now_ms);
    follow(now_ms);
}

void neighbourhood::follow_nearby() {
    const antenna own{mac_number(ap_.start.base_mac), ap_.start.where.value_or(place{})};
    ap_.nearby.clear();
    for (const presence& who : others_) {
        for (const presence_radio& radio : who.radios) {
            const int rssi = heard_from(ap_.start.air, who, radio, own);
            if (rssi < hearing_limit_dbm) continue;
            for (const presence_bss& vap : radio.vaps) {
                scenario_neighbour heard;
                heard.bssid = vap.bssid;
                heard.ssid = vap.ssid;
                heard.use = radio.use;
                heard.rssi = rssi;
                heard.power = radio.power;
                heard.where = who.where;
                ap_.nearby.push_back(std::move(heard));
            }
        }
    }
}

// The book is what the commands change: what they did to a station of ours holds.
void neighbourhood::note_by_hand(roamer& one, std::int64_t now_ms) {
    const auto known = stations_.find(one.is.mac);
    if (!known.one || known.one->guest) return;
    if (known.one->associated && known.vap->bssid != one.at) {
        one.at = known.vap->bssid;
        one.away = one.asked = false;
        one.held_until_ms = now_ms + hold_ms;
    } else if (!known.one->associated && !known.one->wanted && !one.away) {
        one.away = true;
        one.at = no_address;
    }
}

void neighbourhood::follow(std::int64_t now_ms) {
    if (!changed_) return;
    for (roamer& one : roamers_)
        note_by_hand(one, now_ms);
    const presence own = present();
    if (!due_ && now_ms < look_again_ms_ && own == last_) return;
    std::vector<const presence*> all{&own};
    for (const presence& who : others_)
        all.push_back(&who);
    const bool settled = now_ms >= first_look_ms_;
    look_again_ms_ = settled ? now_ms + hold_ms : first_look_ms_;
    for (roamer& one : roamers_) {
        if (one.away || !settled) continue;
        if (now_ms < one.held_until_ms) look_again_ms_ = std::min(look_again_ms_, one.held_until_ms);
        const auto heard = audible_to(ap_.start.air, {mac_number(one.is.mac), *one.is.where}, one.ssid, all);
        const mac_octets target = next_place(heard, one.at, now_ms < one.held_until_ms);
        if (target != one.at) go(one, target, false);
    }
    last_ = present();
    due_ = false;
    changed_();
}

void neighbourhood::go(roamer& one, const mac_octets& target, bool asked) {
    if (target == no_address)
        stations_.leave(one.is.mac, "send-disassoc");
    else if (asked)
        stations_.leave(one.is.mac, "80211v-roam", target);
    else
        stations_.leave(one.is.mac, "reassoc");
    stations_.forget(one.is.mac);
    one.at = target;
    one.asked = asked;
    for (const radio_state& radio : ap_.radios) {
        for (const vap_state& vap : radio.vaps) {
            if (vap.bssid != target) continue;
            one.is.rssi = arriving(one.is.mac, *one.is.where, radio);
            stations_.join(vap.name, one.is);
            return;
        }
    }
}

void neighbourhood::send(roamer& one, const std::vector<mac_octets>& targets, std::int64_t now_ms) {
    const presence own = present();
    std::vector<const presence*> all{&own};
    for (const presence& who : others_)
        all.push_back(&who);
    const auto heard = audible_to(ap_.start.air, {mac_number(one.is.mac), *one.is.where}, one.ssid, all);
    const mac_octets target = asked_place(heard, one.at, targets);
    if (target == no_address) {
        log_.line("station", "%s: hears no other access point well enough", mac_text(one.is.mac).c_str());
        return;
    }
    one.held_until_ms = now_ms + hold_ms;
    go(one, target, true);
    changed_();
}

bool neighbourhood::ask(const mac_octets& mac, const std::vector<mac_octets>& targets, std::int64_t now_ms) {
    if (!changed_) return false;
    if (roamer* one = find(mac)) {
        send(*one, targets, now_ms);
        return true;
    }
    const auto known = stations_.find(mac);
    if (!known.one || !known.one->guest) return false;
    presence_wish wish{mac, ++wish_count_, targets};
    wish.targets.resize(std::min(wish.targets.size(), presence_target_limit));
    wishes_[mac] = std::move(wish);
    changed_();
    return true;
}

std::string neighbourhood::move(const mac_octets& mac, const place& where, std::int64_t now_ms) {
    roamer* one = find(mac);
    if (!one) return mac_text(mac) + " is no station of this access point that moves";
    one->is.where = where;
    due_ = true;
    const auto known = stations_.find(mac);
    if (known.one) known.one->is.rssi = arriving(mac, where, *ap_.radio_of(known.vap->name));
    follow(now_ms);
    return {};
}

void neighbourhood::welcome(const presence_station& one) {
    for (const radio_state& radio : ap_.radios) {
        for (const vap_state& vap : radio.vaps) {
            if (vap.bssid != one.at || !ap_.vap_up(radio, vap)) continue;
            const int rssi = arriving(one.mac, one.where, radio);
            const auto known = stations_.find(one.mac);
            if (known.one && known.vap == &vap) {
                if (known.one->guest) known.one->is.rssi = rssi;
            } else if (!known.one) {
                stations_.join(vap.name, {one.mac, rssi, one.v, one.obeys, one.where}, true);
            }
            return;
        }
    }
}

void neighbourhood::follow_guests() {
    std::map<mac_octets, const presence_station*> known;
    for (const presence& who : others_)
        for (const presence_station& one : who.stations)
            known.emplace(one.mac, &one);
    std::size_t guests = 0;
    std::vector<mac_octets> gone;
    for (const radio_state& radio : ap_.radios) {
        for (const vap_state& vap : radio.vaps) {
            for (const station& one : vap.stations) {
                if (!one.guest) continue;
                const auto found = known.find(one.is.mac);
                const bool here = found != known.end() && found->second->at == vap.bssid && ap_.vap_up(radio, vap);
                here ? static_cast<void>(++guests) : gone.push_back(one.is.mac);
            }
        }
    }
    for (const mac_octets& mac : gone) {
        const auto found = known.find(mac);
        const bool elsewhere = found != known.end() && found->second->at != no_address;
        if (elsewhere && found->second->asked)
            stations_.leave(mac, "80211v-roam", found->second->at);
        else
            stations_.leave(mac, elsewhere ? "reassoc" : "send-disassoc");
        stations_.forget(mac);
        wishes_.erase(mac);
    }
    for (const auto& [mac, one] : known)
        if (one->at != no_address && guests < guest_limit) welcome(*one);
}

void neighbourhood::obey_wishes(std::int64_t now_ms) {
    for (const presence& who : others_) {
        for (const presence_wish& wish : who.wishes) {
            roamer* one = find(wish.station);
            if (!one || !sends(who, one->at)) continue;
            const auto done = one->wishes_done.find(who.base);
            if (done != one->wishes_done.end() && done->second == wish.number) continue;
            one->wishes_done[who.base] = wish.number;
            send(*one, wish.targets, now_ms);
        }
    }
}

}  // namespace ravd::sim

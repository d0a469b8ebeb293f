// An access point among others in one air: what it hears of them, which stations are its guests, and where its own go.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/ap/access_point.h"
#include "sim/ap/event_log.h"
#include "sim/ap/presence.h"
#include "sim/ap/stations.h"

namespace ravd::sim {

class neighbourhood {
  public:
    neighbourhood(access_point& ap, station_book& stations, const event_log& log)
        : ap_(ap), stations_(stations), log_(log) {}

    // Joins an air: from a second later on the stations that have a position choose where they are, so that those which
    // start together have heard of each other. `changed` runs when this access point has something new to tell.
    void begin(std::function<void()> changed, std::int64_t now_ms);

    // What the others are now.
    void hear(std::vector<presence> others, std::int64_t now_ms);
    // Follows what happened to this access point: interfaces, power, stations that were sent away by hand.
    void follow(std::int64_t now_ms);
    // What to tell the others.
    presence present() const;
    const std::vector<presence>& others() const { return others_; }

    // Asks a station that moves by itself, ours or a guest, to leave for one of the targets (none: where it likes).
    // False when this is no such station.
    bool ask(const mac_octets& mac, const std::vector<mac_octets>& targets, std::int64_t now_ms);
    // Puts a station of ours elsewhere. Empty, or why not.
    std::string move(const mac_octets& mac, const place& where, std::int64_t now_ms);

  private:
    struct roamer {
        scenario_station is;
        std::string ssid;
        mac_octets at{};
        bool away = false;  // sent off by hand; comes back by hand
        bool asked = false;
        std::int64_t held_until_ms = 0;
        std::map<mac_octets, int> wishes_done;  // by base address: the last one obeyed
    };
    roamer* find(const mac_octets& mac);
    int arriving(const mac_octets& mac, const place& where, const radio_state& radio) const;
    void send(roamer& one, const std::vector<mac_octets>& targets, std::int64_t now_ms);
    void go(roamer& one, const mac_octets& target, bool asked);
    void note_by_hand(roamer& one, std::int64_t now_ms);
    void follow_guests();
    void welcome(const presence_station& one);
    void obey_wishes(std::int64_t now_ms);
    void follow_nearby();

    access_point& ap_;
    station_book& stations_;
    const event_log& log_;
    std::function<void()> changed_;
    std::vector<presence> others_;
    std::vector<roamer> roamers_;
    std::map<mac_octets, presence_wish> wishes_;  // of guests, by station
    int wish_count_ = 0;
    presence last_;    // as it was looked at last
    bool due_ = true;  // something else changed since
    std::int64_t look_again_ms_ = 0;
    std::int64_t first_look_ms_ = 0;
};

}  // namespace ravd::sim

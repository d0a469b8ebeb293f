// Stations: who is associated, what the antennas hear, who leaves when asked. What happens is told as client events.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sim/ap/access_point.h"

namespace ravd::sim {

// One line of a station's life as hostapd would tell it.
struct client_event {
    std::string type;  // "auth", "recv-disassoc", "80211v-roam", ...
    std::string dev;
    std::string mac;
    std::string ssid;
    int rssi = 0;
    bool v = false;
    std::string target_mac;  // roams only
};

class station_book {
  public:
    using listener = std::function<void(const client_event&)>;
    explicit station_book(access_point& ap) : ap_(ap) {}
    void set_listener(listener told) { told_ = std::move(told); }

    // Where a station is known; nulls when it is not.
    struct place {
        vap_state* vap = nullptr;
        station* one = nullptr;
    };
    place find(const mac_octets& mac);

    // Associates a station to a VAP that is up, a new one or one known elsewhere. Empty, or why not.
    std::string join(const std::string& ifname, const scenario_station& who, bool guest = false);
    // It goes, with the event named and, in a roam, where to.
    std::string leave(const mac_octets& mac, const std::string& event, const mac_octets& target = {});
    // It is not known here any more, without an event.
    void forget(const mac_octets& mac);
    // It goes to another access point, or to another VAP of ours when the target is one of ours.
    std::string roam(const mac_octets& mac, const mac_octets& target);

    // Brings associations in line with the interfaces: stations of a VAP that went down are gone, those of one that
    // came up are back. `telling`: as client events "send-disassoc" and "auth".
    void settle(bool telling);

    // A BSS transition request. False when the station is not associated to that VAP. Marks it as asked.
    bool ask_to_roam(vap_state& vap, const mac_octets& mac, std::int64_t now_ms);
    // The BSSs that a station asked on this VAP is offered: those of the custom list, else of the standard list.
    static std::vector<mac_octets> roam_targets(const vap_state& vap);
    // The one that it would choose: the first of these, else a neighbour with the same SSID; all zero when there is
    // none.
    mac_octets roam_target(const vap_state& vap) const;

    // Four antennas' dBm at a moment; they move every two seconds. The best of them is near the station's own value.
    std::array<int, 4> readings(const station& one, std::int64_t now_ms) const;

  private:
    void tell(const char* type, const vap_state& vap, const station& one, const std::string& target = {}) const;

    access_point& ap_;
    listener told_;
};

}  // namespace ravd::sim

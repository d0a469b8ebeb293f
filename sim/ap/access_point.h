// The one state of a simulated access point. The configuration is what the configuration service answers; the live
// values are what the driver answers. Everything here belongs to the simulator's one thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sim/ap/config_store.h"
#include "sim/ap/scenario.h"

namespace ravd::sim {

struct station {
    scenario_station is;
    bool associated = false;
    bool wanted = true;               // comes back when its VAP does
    bool asked_to_roam = false;       // a BSS transition request was sent to it
    std::int64_t asked_until_ms = 0;  // 0: for good
    bool guest = false;               // belongs to another access point of the air
};

// One entry of an 802.11k list.
struct neighbour_entry {
    mac_octets bssid{};
    int channel = 0;
    std::string ssid;  // where the entry says it
    std::string rest;  // the rest of it, as it was written
};

struct vap_state {
    std::string name;  // "wlan0-va1"
    mac_octets bssid{};
    std::vector<station> stations;
    std::vector<neighbour_entry> neighbours;          // the driver's standard list
    std::vector<neighbour_entry> custom_neighbours;   // the driver's custom list
    std::vector<neighbour_entry> hostapd_neighbours;  // what hostapd was told
};

// A scan that was started last; what it has found so far follows from the clock.
struct scan_state {
    bool active_kind = true;
    std::vector<int> channels;  // in the order in which they are visited
    std::int64_t start_ms = 0;
    std::int64_t duration_ms = 0;
    std::int64_t stop_ms = -1;  // stopped before its end; -1: not
    std::uint32_t round = 0;    // counts scans of this radio; 0: none yet
};

struct radio_state {
    std::string name;  // "wlan0"
    chip_kind kind = chip_kind::rtl8192cd;
    int band = 2;
    bool up = true;
    std::vector<int> channels;
    std::uint32_t chanspec = 0;  // configured channel as the driver writes it
    int power = 16;
    bool coex = false;
    std::map<std::string, std::string> mibs;  // "interface name": set and read back
    scan_state scan;
    std::vector<vap_state> vaps;
};

// "/interface/wlan0/wlan/radio/KEY"
std::string radio_path(const std::string& radio, const char* key);
// "/interface/wlan0-va0/KEY"
std::string vap_config_path(const std::string& vap, const char* key);

class access_point {
  public:
    explicit access_point(const scenario& from);
    access_point(const access_point&) = delete;
    access_point& operator=(const access_point&) = delete;

    scenario start;  // as it was read
    config_store config;
    std::array<radio_state, radio_count> radios;
    bool hostapd_running = false;
    std::vector<scenario_neighbour> nearby;  // other access points of the air as they are heard now

    // By interface name, of the radio itself or of one of its VAPs; null when there is no such interface.
    radio_state* radio_of(const std::string& ifname);
    // By its own name; null for a radio's name.
    vap_state* vap_of(const std::string& ifname);

    // The VAP's interface is up: radio up, hostapd runs, enabled and named in the configuration.
    bool vap_up(const radio_state& radio, const vap_state& vap) const;
    std::string ssid_of(const vap_state& vap) const;

    // Takes channel, bandwidth, sideband and power from the configuration. False, with the reason, when the radio
    // cannot do what it says: what could not be done stays as it was.
    bool apply_radio_config(radio_state& radio, std::string& reason);
    // Chanspec of the moment: with coexistence on, a 40 MHz channel of 2.4 GHz shrinks while neighbours are heard
    // there.
    std::uint32_t live_chanspec(const radio_state& radio) const;
};

}  // namespace ravd::sim

// What a scenario file says: the access point, its surroundings and its stations at the start. Plain records; every
// value is checked while it is read (docs/simulation.md lists members, ranges and defaults).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/ap/channel_plan.h"
#include "sim/common/mac_text.h"
#include "sim/common/propagation.h"

namespace ravd::sim {

constexpr int radio_count = 2;
constexpr int vap_limit = 7;

enum class chip_kind { rtl8192cd, rtk_wifi6 };

struct scenario_station {
    mac_octets mac{};
    int rssi = -60;     // dBm, at the best antenna
    bool v = true;      // supports 802.11v
    bool obeys = true;  // leaves when it is asked to
    std::optional<place> where;
};

struct scenario_vap {
    std::string ssid;  // empty: not configured
    bool enabled = true;
    std::string security = "WPA2_PSK";
    bool kv = true;
    bool ft = false;
    bool captive_portal = false;
    std::vector<scenario_station> stations;
};

struct scenario_radio {
    chip_kind kind = chip_kind::rtl8192cd;
    int band = 2;
    bool up = true;
    channel_use use;
    bool auto_channel = true;
    int power = 16;
    int power_min = 11;
    int power_max = 16;
    std::string country = "RU";
    bool coex = false;
    bool wds = false;
    std::vector<int> channels;
    std::vector<int> limit_channels;  // empty: no limit
    std::vector<scenario_vap> vaps;
};

struct scenario_neighbour {
    mac_octets bssid{};
    std::string ssid;
    channel_use use;
    int rssi = -70;  // dBm
    int power = 20;  // dBm, as it tells in its beacon
    std::optional<place> where;
};

struct scenario {
    std::string name;
    std::uint32_t seed = 1;
    double scan_speed = 1;  // scans take this much less time
    int steer_delay_ms = 1500;
    std::string board = "sim-ap";
    std::string hw = "1";
    std::string serial = "SIM0000001";
    mac_octets base_mac{{0x02, 0x00, 0x5e, 0x10, 0x00, 0x10}};
    bool dca = true;
    bool tpc = true;
    bool load_balance = true;
    surroundings air;
    std::optional<place> where;  // of the access point
    std::array<scenario_radio, radio_count> radios;
    std::vector<scenario_neighbour> neighbours;
    std::vector<std::pair<std::string, std::string>> config;  // path, text: set over what follows from the rest
};

// Reads a scenario's text. False with the place and the reason in `fault`.
bool parse_scenario(const std::string& text, scenario& result, std::string& fault);
// From a file; the fault begins with its name.
bool load_scenario(const std::string& path, scenario& result, std::string& fault);

}  // namespace ravd::sim

// What agents report, read into plain records of bounded size.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/common/json.h"

namespace ravd::sim {

// Bounds of what is kept per agent; the rest of a message is only checked and shown.
constexpr std::size_t radio_limit = 16;
constexpr std::size_t vap_limit = 32;
constexpr std::size_t station_limit = 512;
constexpr std::size_t heard_limit = 4096;
constexpr std::size_t text_limit = 64;

struct vap_view {
    int id = 0;
    std::string ssid;
    std::string mac;
    bool kv = false;
    bool ft = false;
};

struct station_view {
    std::string mac;
    std::string ssid;
    int rssi = 0;
};

struct radio_view {
    int id = 0;
    bool active = false;
    bool locked_for_dca = true;
    bool locked_for_tpc = true;
    bool locked_for_balancer = true;
    bool locked_for_80211v = true;
    int power = 0;
    int power_max = 0;
    int power_min = 0;
    int channel = 0;
    int band = 0;
    int bandwidth = 0;
    std::string primary;
    std::vector<int> available;  // ascending, as sent
    std::vector<vap_view> vaps;
    bool lists_stations = false;  // the description had a list of clients, if an empty one
    std::vector<station_view> stations;
};

struct reported_bss {
    std::string bssid;
    int rssi = 0;
    int channel = 0;
    int tx_power = 0;
    std::string primary;
    int bandwidth = 0;
    int round = 0;
};

std::vector<radio_view> read_radios(json_object* message);
// Radios that were described without a list of clients keep the one they had.
void keep_clients(const std::vector<radio_view>& before, std::vector<radio_view>& now);
// A client came, left or roamed, or all are gone: what the message says is done to the lists.
void follow_clients(json_object* message, std::vector<radio_view>& radios);
std::vector<reported_bss> read_environment(json_object* message);
// RSSI in dBm: drivers that report positive values count from -100 dBm.
int dbm(int rssi);

}  // namespace ravd::sim

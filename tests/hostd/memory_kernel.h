// A kernel in memory, with two radios whose interfaces do what they are told.
#pragma once

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "platform/nl80211.h"

namespace ravd::hostd::testing {

// Interfaces by name, numbered as they came; phy 0 and 1 with channels 1 to 11, 36 to 48, 52 (radar) and 149 to 161.
class memory_kernel final : public nl80211_port {
  public:
    struct radio {
        std::optional<std::int32_t> power;  // as set
    };
    std::vector<wireless_interface> interfaces;
    std::map<std::uint32_t, std::vector<heard_station>> stations;  // by interface
    radio radios[2];
    std::vector<std::string> added;
    std::uint32_t first_phy = 0;
    int station_error = 0;  // of the list of stations

    wireless_interface& make(const std::string& name, std::uint32_t phy, wireless_type type, std::uint32_t mhz = 0) {
        wireless_interface one;
        one.index = static_cast<std::uint32_t>(interfaces.size()) + 1;
        one.phy = phy;
        one.name = name;
        one.type = type;
        one.frequency = one.centre = mhz;
        one.width = mhz == 0 ? 0 : 20;
        one.tx_power = 2000;
        if (type == wireless_type::access_point) one.ssid = "office";
        interfaces.push_back(one);
        return interfaces.back();
    }
    wireless_interface* find(const std::string& name) {
        const auto same = [&](const auto& one) { return one.name == name; };
        const auto found = std::find_if(interfaces.begin(), interfaces.end(), same);
        return found == interfaces.end() ? nullptr : &*found;
    }

    int interface_index(const char* name, std::uint32_t& index) override {
        const wireless_interface* found = find(name);
        if (found) index = found->index;
        return found ? 0 : -ENODEV;
    }
    int get_interface(std::uint32_t index, wireless_interface& interface) override {
        for (const wireless_interface& one : interfaces)
            if (one.index == index) return interface = one, 0;
        return -ENODEV;
    }
    int get_phy(std::uint32_t phy, phy_info& info) override {
        if (phy < first_phy || phy > first_phy + 1) return -ENODEV;
        info = {};
        info.name = "phy" + std::to_string(phy);
        info.bands.resize(2);
        info.bands[0].ht_capabilities = info.bands[1].ht_capabilities = std::uint16_t{0x000e};
        info.bands[1].vht_capabilities = 1;
        const auto add = [&](int band, std::uint32_t channel) {
            phy_channel one;
            one.frequency = frequency_of_channel(channel);
            one.max_power = 2000;
            one.radar = channel == 52;
            info.bands[static_cast<std::size_t>(band)].channels.push_back(one);
        };
        for (std::uint32_t channel = 1; channel <= 11; ++channel)
            add(0, channel);
        for (const std::uint32_t channel : {36u, 40u, 44u, 48u, 52u, 149u, 153u, 157u, 161u})
            add(1, channel);
        return 0;
    }
    int add_interface(std::uint32_t phy, const char* name, wireless_type type, const std::array<std::uint8_t, 6>* mac,
                      std::uint32_t& index) override {
        wireless_interface& one = make(name, phy, type);
        if (mac) one.mac = *mac;
        index = one.index;
        added.push_back(name);
        return 0;
    }
    int delete_interface(std::uint32_t index) override {
        const auto same = [&](const auto& one) { return one.index == index; };
        interfaces.erase(std::remove_if(interfaces.begin(), interfaces.end(), same), interfaces.end());
        return 0;
    }
    int set_tx_power(std::uint32_t phy, std::optional<std::int32_t> power) override {
        radios[phy].power = power;
        return 0;
    }
    int get_stations(std::uint32_t index, std::vector<heard_station>& out, std::size_t) override {
        if (station_error == 0) out = stations[index];
        return station_error;
    }
    int get_country(std::string& alpha2) override { return alpha2 = "US", 0; }
    int set_country(const char*) override { return 0; }
    int list_interfaces(std::vector<wireless_interface>&, std::size_t) override { return 0; }
    int trigger_scan(std::uint32_t, const scan_request&) override { return -EOPNOTSUPP; }
    int abort_scan(std::uint32_t) override { return -ENOENT; }
    int get_scan(std::uint32_t, const std::function<void(const heard_bss&)>&, std::size_t) override { return 0; }
    int event_descriptor() override { return -1; }
    int read_events(const std::function<void(const wireless_notice&)>&) override { return 0; }
};

}  // namespace ravd::hostd::testing

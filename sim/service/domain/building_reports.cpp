#include "sim/service/domain/building_reports.h"

namespace ravd::sim {
namespace {

constexpr int loud = -70;  // dBm: from here on a station stays with 5 GHz

mac_octets bssid_of(const building_access_point& ap, int radio) {
    mac_octets bssid = ap.base;
    bssid[5] = static_cast<std::uint8_t>(bssid[5] + 1 + 8 * radio);
    return bssid;
}

radio_view view_of(const building_access_point& ap, int number, const std::string& ssid) {
    const building_radio& radio = ap.radios[static_cast<std::size_t>(number)];
    radio_view view;
    view.id = number;
    view.active = true;
    view.locked_for_dca = view.locked_for_tpc = view.locked_for_80211v = false;
    view.power = radio.power;
    view.power_min = radio.power_min;
    view.power_max = radio.power_max;
    view.channel = radio.use.channel;
    view.band = band_of(radio.use.channel);
    view.bandwidth = radio.use.bandwidth;
    view.primary = radio.use.sideband;
    view.available = radio.channels;
    view.vaps.push_back({0, ssid, mac_text(bssid_of(ap, number)), true, false});
    view.lists_stations = true;
    return view;
}

void hear(access_point_view& view, const mac_octets& bssid, const channel_use& use, int rssi) {
    if (rssi >= hearing_limit_dbm)
        view.heard.push_back({mac_text(bssid), rssi, use.channel, 0, use.sideband, use.bandwidth, 0});
}

void settle(const building& made, const building_station& station, std::vector<access_point_view>& views) {
    radio_view* best[2] = {nullptr, nullptr};
    int signal[2] = {hearing_limit_dbm - 1, hearing_limit_dbm - 1};
    for (std::size_t i = 0; i < views.size(); ++i) {
        for (std::size_t r = 0; r < 2; ++r) {
            const building_access_point& ap = made.access_points[i];
            const int rssi =
                heard_dbm(made.air, r == 0 ? 2 : 5, ap.radios[r].power, antenna_of(ap), antenna_of(station));
            if (rssi <= signal[r]) continue;
            signal[r] = rssi;
            best[r] = &views[i].radios[r];
        }
    }
    const std::size_t r = best[1] && (signal[1] >= loud || signal[1] >= signal[0]) ? 1 : 0;
    if (best[r]) best[r]->stations.push_back({mac_text(station.mac), made.ssid, signal[r]});
}

}  // namespace

std::vector<access_point_view> building_reports(const building& made) {
    std::vector<access_point_view> views;
    for (const building_access_point& ap : made.access_points) {
        access_point_view view;
        view.ap_mac = mac_text(ap.base);
        view.reported = true;
        for (int r = 0; r < 2; ++r)
            view.radios.push_back(view_of(ap, r, made.ssid));
        for (const building_access_point& other : made.access_points) {
            if (other.base == ap.base) continue;
            for (int r = 0; r < 2; ++r) {
                const building_radio& radio = other.radios[static_cast<std::size_t>(r)];
                hear(view, bssid_of(other, r), radio.use,
                     heard_dbm(made.air, r == 0 ? 2 : 5, radio.power, antenna_of(other), antenna_of(ap)));
            }
        }
        for (const building_network& network : made.strangers)
            hear(view, network.bssid, network.use,
                 heard_dbm(made.air, band_of(network.use.channel), network.power, antenna_of(network), antenna_of(ap)));
        views.push_back(std::move(view));
    }
    for (const building_station& station : made.stations)
        settle(made, station, views);
    return views;
}

}  // namespace ravd::sim

#include "tools/probe/view.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "driver/chanspec.h"
#include "platform/system.h"

namespace ravd {
namespace {

const char* yes_no(bool value) { return value ? "yes" : "no"; }

void print_vaps(driver_interface& driver, int radio, const char* name) {
    driver.for_each_vap(name, [&](int index, const char* ssid, const char* mac, bool kv) {
        std::printf("  vap %s-va%d ssid \"%s\" bssid %s 802.11k/v %s 802.11r %s\n", name, index, ssid, mac, yes_no(kv),
                    yes_no(driver.is_ft_enabled(radio, index)));
    });
    driver.get_assoc_stas(name, [](const rrm_sta_s& station) {
        std::printf("  station %s at %s rssi %d readings %d %d %d %d 802.11v %s asked to roam %s\n",
                    station.mac.c_str(), station.ifname.c_str(), station.rssi, station.readings[0], station.readings[1],
                    station.readings[2], station.readings[3], yes_no(!station.no_80211v),
                    yes_no(station.roam_attempts != 0));
    });
}

void print_radio(driver_interface& driver, int radio) {
    const std::string name = "wlan" + std::to_string(radio);
    if (!driver.radio_up(radio)) {
        std::printf("radio %s down\n", name.c_str());
        return;
    }
    const std::uint32_t chanspec = driver.get_chanspec(name.c_str());
    std::printf("radio %s up channel %u bandwidth %u sideband %s chanspec 0x%04x band %u\n", name.c_str(),
                chanspec_ctl_channel(chanspec), chanspec_bw(chanspec), chanspec_sideband(chanspec), chanspec,
                band_of_chanspec(chanspec));
    std::printf("  power %d from %d to %d country %s wds %s coexistence %s configured 0x%04x\n",
                driver.get_tx_power(name.c_str()), driver.get_tx_power_min(radio), driver.get_tx_power_max(radio),
                driver.get_country(name.c_str()).c_str(), yes_no(driver.radio_wds_enabled(radio)),
                yes_no(driver.get_radio_obss_coex(radio)), driver.get_radio_bandwidth(radio));
    std::string channels;
    driver.fill_chanspecs(name.c_str(), channels);
    std::printf("  channels %s\n", channels.c_str());
    print_vaps(driver, radio, name.c_str());
}

}  // namespace

void print_view(driver_interface& driver) {
    for (int radio = 0; radio < driver.radio_count(); ++radio)
        print_radio(driver, radio);
}

int print_scan(driver_interface& driver, bool active, const channel_set& channels, unsigned wait_s) {
    channel_set bands[2];
    for (const std::uint32_t channel : channels)
        bands[band_of_channel(channel) == 2 ? 0 : 1].insert(channel);
    std::uint32_t needed = 0;
    driver.start_scan(active, bands[0], bands[1], needed);
    const std::uint32_t wait = std::min(wait_s > 0 ? wait_s : needed, 60u);
    std::printf("%s scan, %u s\n", active ? "active" : "RRM", wait);
    std::fflush(stdout);
    sys::sleep_us(wait * 1000000);
    driver.stop_scan(active);
    ap_table table;
    const int result = active ? driver.fill_scan_results(table) : driver.fill_rrm_scan_results(table);
    for (const scan_record& bss : table)
        std::printf("  bss %02x:%02x:%02x:%02x:%02x:%02x rssi %d channel %u bandwidth %u sideband %s power %d\n",
                    bss.bssid[0], bss.bssid[1], bss.bssid[2], bss.bssid[3], bss.bssid[4], bss.bssid[5], bss.rssi,
                    bss.channel, bss.bandwidth, sideband_name(bss.sideband, bss.bandwidth), bss.tx_power);
    return result;
}

}  // namespace ravd

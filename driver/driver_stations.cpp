// Associated stations, and what is asked of the driver for them.
#include "core/ifname.h"
#include "driver/driver_realtek.h"
#include "driver/ioctl_ops.h"

namespace ravd {

int driver_realtek::get_assoc_stas(const char* ifname, const station_callback& callback) {
    if (!flags()) return 0;
    const int radio_id = radio_index(ifname);
    if (!radio_up(radio_id)) return 0;
    const auto& vaps = table_.get_radio(radio_id)->vaps;
    for (const vap_record& vap : vaps) {
        int index = 0;
        while (vaps[static_cast<std::size_t>(index)].name != vap.name)
            ++index;
        if (!vap_active(radio_id, index)) continue;
        std::vector<rrm_sta_realtek> stations;
        back_end(vap.name.c_str())->get_assoc_stas(stations);
        for (rrm_sta_realtek& station : stations) {
            station.ssid = vap.ssid;
            station.ifname = vap.name;
            callback(station);
        }
    }
    return 0;
}

void driver_realtek::send_bss_trans_req(const char* ifname, const char* sta_mac, int) {
    if (!flags() || !radio_up(radio_index(ifname))) return;
    back_end(ifname)->send_bss_trans_req(ifname, sta_mac);
}

int driver_realtek::set_roam_attempt_timeout(const char* ifname, int timeout) {
    if (!flags()) return 0;
    const int radio_id = radio_index(ifname);
    if (!radio_up(radio_id)) return 0;
    back_end(ifname)->set_quarn_roam_attempt_timeout(ifname, timeout);
    int index = 0;
    for (const vap_record& vap : table_.get_radio(radio_id)->vaps) {
        const char* name = vap.name.c_str();
        if (vap_active(radio_id, index)) back_end(name)->set_quarn_roam_attempt_timeout(name, timeout);
        ++index;
    }
    return 0;
}

}  // namespace ravd

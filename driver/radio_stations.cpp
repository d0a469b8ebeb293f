#include "driver/radio_stations.h"

#include "core/ifname.h"

namespace ravd {

int radio_stations::get_assoc_stas(const char* ifname, driver_interface::station_callback callback) const {
    if (!context_.radios.flags()) return 0;
    const int radio_id = radio_index(ifname);
    if (!context_.radios.radio_up(radio_id)) return 0;
    const auto& vaps = context_.radios.table().get_radio(radio_id)->vaps;
    for (int index = 0; index < vap_limit; ++index) {
        const vap_record& vap = vaps[static_cast<std::size_t>(index)];
        if (!context_.radios.vap_active(radio_id, index)) continue;
        std::vector<rrm_sta_s> stations;
        context_.back_end_of(vap.name.c_str())->get_assoc_stas(stations);
        for (rrm_sta_s& station : stations) {
            station.ssid = vap.ssid;
            station.ifname = vap.name;
            callback(station);
        }
    }
    return 0;
}

void radio_stations::send_bss_trans_req(const char* ifname, const char* sta_mac) const {
    if (!context_.radios.flags() || !context_.radios.radio_up(radio_index(ifname))) return;
    context_.back_end_of(ifname)->send_bss_trans_req(sta_mac);
}

int radio_stations::set_roam_attempt_timeout(const char* ifname, int timeout) const {
    if (!context_.radios.flags()) return 0;
    const int radio_id = radio_index(ifname);
    if (!context_.radios.radio_up(radio_id)) return 0;
    context_.back_end_of(ifname)->set_quarn_roam_attempt_timeout(timeout);
    int index = 0;
    for (const vap_record& vap : context_.radios.table().get_radio(radio_id)->vaps) {
        const char* name = vap.name.c_str();
        if (context_.radios.vap_active(radio_id, index))
            context_.back_end_of(name)->set_quarn_roam_attempt_timeout(timeout);
        ++index;
    }
    return 0;
}

}  // namespace ravd

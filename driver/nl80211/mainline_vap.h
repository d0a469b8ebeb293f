// A VAP of mainline Linux, run by hostapd: its stations, and its 802.11k list. 0 or -1, as back_end has it.
#pragma once

#include "driver/nl80211/operation.h"

namespace ravd {

class mainline_vap {
  public:
    explicit mainline_vap(const operation& what) : what_(what) {}

    // Appended, without SSID and interface name.
    int get_stations(std::vector<rrm_sta_s>& stations);
    // Asks a station to go to a BSS of the custom list. It may refuse, and stays then.
    int request_transition(const char* sta_mac);
    // How long it is remembered that a station was asked; 0 or less: as long as it stays.
    int set_roam_timeout(int seconds);

    // The standard list is hostapd's, the custom list is kept here for transitions.
    int add_neighbour(const neighbour_entry& neighbour);
    // All but hostapd's own entry of the VAP.
    int delete_neighbours();
    int delete_custom_neighbours();

    // Whether 20/40 MHz coexistence keeps the VAP's radio from 40 MHz.
    bool is_narrowed();

    int hung_requests() const { return hung_requests_; }

  private:
    // False beside a failure, which is counted where hostapd is silent and in the log if `what` says what failed.
    bool ask(const std::string& request, std::string& reply, const char* what);
    bool order(const std::string& request, const char* what);
    void learn_ability(const MacAddr& mac, station_memory& station);
    // Null, with an error in the log, for the name of no VAP.
    vap_memory* memory() const;

    const operation& what_;
    int hung_requests_ = 0;
};

}  // namespace ravd

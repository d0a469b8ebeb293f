// Requests to hostapd's control socket for neighbours and stations, and what its answers tell. Pure functions; answers
// hold what came from stations and are checked.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driver/back_end.h"
#include "message/mac_addr.h"

namespace ravd {

// Value of the line "NAME=value"; empty when there is none.
std::string_view find_value(std::string_view text, std::string_view name);

// "SET_NEIGHBOR ...": an entry whose report has the operating class of its 20 MHz channel. Empty for a channel that has
// none.
std::string set_neighbour_request(const neighbour_entry& neighbour);

// An entry as "SHOW_NEIGHBOR" lists it; the SSID in hexadecimal digits.
struct listed_neighbour {
    MacAddr bssid;
    std::string ssid;
};
// Lines that are no entry are left out.
std::vector<listed_neighbour> read_neighbour_list(std::string_view text);
std::string remove_neighbour_request(const listed_neighbour& neighbour);

// "BSS_TM_REQ ...": asks a station to go, to the first candidates rather than the others, and never ends its
// association.
std::string transition_request(const MacAddr& station, const std::vector<neighbour_entry>& candidates);

}  // namespace ravd

// Names of radios and VAPs. Null texts are treated like empty ones.
#pragma once

#include <array>
#include <string>

namespace ravd {

// Interface names by radio index. No driver has more radios.
constexpr std::array<const char*, 3> radio_names{"wlan0", "wlan1", "wlan2"};

// WDS links of a radio: "wlan%d-wds0" to "wlan%d-wds7".
constexpr int wds_links = 8;

// Number behind "wlan" at the start of a name, read as "%d" reads it (wlan1 and wlan1-va3 give 1). -1 when there is
// none. Not held against the number of radios.
int radio_index(const char* ifname);

// Reads "wlan%d-va%d" at the start of a name. False unless both numbers are there.
bool parse_vap_ifname(const char* ifname, int& radio, int& vap);

// "wlan%d-va%d"
std::string make_vap_ifname(int radio, int vap);

// Whether the whole name is "wlan%d" or "wlan%d-va%d", in plain decimal without leading zeros, at most 15 characters.
// Only such a name may become part of a command.
bool is_wlan_ifname(const char* ifname);

}  // namespace ravd

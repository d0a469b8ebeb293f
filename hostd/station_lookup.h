// What the kernel and hostapd know of stations.
#pragma once

#include <string>
#include <vector>

#include "hostd/vap.h"
#include "platform/nl80211.h"

namespace ravd::hostd {

// Signal in dBm of a station of a VAP; 0 when the kernel does not know it.
int station_signal(nl80211_port& kernel, const std::string& vap_name, const std::string& mac);

// A VAP's stations; false when the kernel did not give the whole list.
bool find_stations(nl80211_port& kernel, const std::string& vap_name, std::vector<heard_station>& stations);
// Their addresses, small letters; only of those that have been there for so long.
std::vector<std::string> addresses_of(const std::vector<heard_station>& stations, unsigned seconds = 0);

// Whether a station said that it follows transition requests.
bool station_uses_80211v(vap& at, const std::string& mac);

}  // namespace ravd::hostd

// What the kernel and hostapd know of stations.
#pragma once

#include <string>
#include <vector>

#include "hostd/vap.h"
#include "platform/nl80211.h"

namespace ravd::hostd {

// Signal in dBm of a station of a VAP; 0 when the kernel does not know it.
int station_signal(nl80211_port& kernel, const std::string& vap_name, const std::string& mac);

// Addresses of a VAP's stations, small letters; only those that have been there for so long.
std::vector<std::string> station_addresses(nl80211_port& kernel, const std::string& vap_name, unsigned seconds = 0);

// Whether a station said that it follows transition requests.
bool station_uses_80211v(vap& at, const std::string& mac);

}  // namespace ravd::hostd

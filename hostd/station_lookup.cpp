#include "hostd/station_lookup.h"

#include <cstdlib>

#include "hostd/lines.h"
#include "message/mac_addr.h"

namespace ravd::hostd {
namespace {

constexpr std::size_t transition_byte = 2;  // bit 19 of the extended capabilities
constexpr unsigned transition_bit = 1u << 3;

}  // namespace

bool find_stations(nl80211_port& kernel, const std::string& vap_name, std::vector<heard_station>& stations) {
    std::uint32_t index = 0;
    return kernel.interface_index(vap_name.c_str(), index) == 0 && kernel.get_stations(index, stations) == 0;
}

int station_signal(nl80211_port& kernel, const std::string& vap_name, const std::string& mac) {
    std::vector<heard_station> stations;
    find_stations(kernel, vap_name, stations);
    for (const heard_station& one : stations)
        if (MacAddr{one.mac}.to_lower() == mac) return one.signal_average.value_or(one.signal.value_or(0));
    return 0;
}

std::vector<std::string> addresses_of(const std::vector<heard_station>& stations, unsigned seconds) {
    std::vector<std::string> addresses;
    for (const heard_station& one : stations)
        if (one.connected_s >= seconds) addresses.push_back(MacAddr{one.mac}.to_lower());
    return addresses;
}

bool station_uses_80211v(vap& at, const std::string& mac) {
    std::string reply;
    if (at.ask("STA " + mac, reply) != hostapd_result::answered) return false;
    const std::string capabilities = line_value(reply, "ext_capab");
    if (capabilities.size() < 2 * transition_byte + 2) return false;
    const std::string byte = capabilities.substr(2 * transition_byte, 2);
    return (std::strtoul(byte.c_str(), nullptr, 16) & transition_bit) != 0;
}

}  // namespace ravd::hostd

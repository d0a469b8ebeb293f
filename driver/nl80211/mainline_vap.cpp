#include "driver/nl80211/mainline_vap.h"

#include <algorithm>
#include <cstdlib>

#include "core/logger.h"
#include "driver/nl80211/bss_elements.h"
#include "driver/nl80211/hostapd_text.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr int request_limit_ms = 1000;
constexpr int hung_limit = 2;

constexpr std::size_t custom_limit = 64;
constexpr int removal_rounds = 64;  // an answer lists about 50 entries
constexpr std::int64_t removal_limit_ms = 5000;

constexpr std::int32_t no_reading = -100;
constexpr std::int64_t longest_timeout_s = 1000000;
constexpr std::int64_t joined_slack_ms = 2000;  // the kernel counts whole seconds, and answers late

constexpr unsigned long wide_capability = 0x2;  // of HT: 20 and 40 MHz

bool is_vap(const std::string& name) { return is_wlan_ifname(name.c_str()) && name.find('-') != std::string::npos; }

rrm_sta_s record_of(const heard_station& heard, const station_memory& known) {
    rrm_sta_s station;
    station.mac = MacAddr{heard.mac}.to_lower();
    const std::int32_t last = heard.signal.value_or(no_reading);
    station.rssi = heard.signal_average.value_or(last);
    station.readings.fill(no_reading);
    std::copy_n(heard.chains.begin(), std::min(heard.chains.size(), station.readings.size()), station.readings.begin());
    if (heard.chains.empty()) station.readings[0] = station.rssi;
    station.roam_attempts = known.attempts;
    station.no_80211v = !known.can_transit;
    return station;
}

}  // namespace

vap_memory* mainline_vap::memory() const {
    if (is_vap(what_.ifname())) return &what_.memory().vap(what_.ifname());
    log_error(process_log, "%s: is no VAP\n", what_.name());
    return nullptr;
}

bool mainline_vap::ask(const std::string& request, std::string& reply, const char* what) {
    vap_memory* const vap = memory();
    if (!vap || what_.cancelled()) return false;
    what_.tick();
    const hostapd_result result = vap->hostapd.request(request, reply, request_limit_ms);
    what_.tick();
    if (result == hostapd_result::no_answer) ++hung_requests_;
    const bool good =
        result == hostapd_result::answered && reply.compare(0, 4, "FAIL") != 0 && reply.compare(0, 7, "UNKNOWN") != 0;
    if (!good && what)
        log_error(process_log, "%s: hostapd cannot %s: %s\n", what_.name(), what,
                  result == hostapd_result::answered ? reply.c_str() : text_of(result));
    return good;
}

bool mainline_vap::order(const std::string& request, const char* what) {
    std::string reply;
    return ask(request, reply, what);
}

void mainline_vap::learn_ability(const MacAddr& mac, station_memory& station) {
    if (hung_requests_ >= hung_limit) return;
    std::string reply;
    if (!ask("STA " + mac.to_lower(), reply, nullptr)) return;
    station.known = true;
    station.can_transit = has_bss_transition(find_value(reply, "ext_capab"));
}

int mainline_vap::get_stations(std::vector<rrm_sta_s>& stations) {
    vap_memory* const vap = memory();
    wireless_interface interface;
    if (!vap || what_.find(interface) < 0) return -1;
    nl80211_port* const kernel = what_.port();
    if (!kernel) return -1;
    std::vector<heard_station> heard;
    const int result = kernel->get_stations(interface.index, heard);
    if (result != 0) return what_.failed("list stations", result);
    std::map<MacAddr, station_memory> present;
    const std::int64_t now_ms = monotonic_ms();
    for (const heard_station& one : heard) {
        if (!one.associated) continue;
        const MacAddr mac{one.mac};
        station_memory& station = present[mac];
        const auto before = vap->stations.find(mac);
        const std::int64_t joined_ms = now_ms - one.connected_s * std::int64_t{1000};
        const bool same =
            before != vap->stations.end() && std::abs(joined_ms - before->second.joined_ms) <= joined_slack_ms;
        if (same)
            station = before->second;  // with its time, so that errors do not add up
        else
            station.joined_ms = joined_ms;
        if (station.asked_until_ms != 0 && now_ms >= station.asked_until_ms) station.attempts = 0;
        if (!station.known) learn_ability(mac, station);
        stations.push_back(record_of(one, station));
    }
    vap->stations.swap(present);
    return 0;
}

int mainline_vap::request_transition(const char* sta_mac) {
    vap_memory* const vap = memory();
    MacAddr mac;
    if (!vap) return -1;
    if (!sta_mac || !is_plain_mac(sta_mac) || !parse_mac(sta_mac, mac)) {
        log_error(process_log, "%s: not the address of a station\n", what_.name());
        return -1;
    }
    if (!order(transition_request(mac, vap->custom), "ask a station to go")) return -1;
    const auto known = vap->stations.find(mac);
    if (known == vap->stations.end()) return 0;
    ++known->second.attempts;
    known->second.asked_until_ms =
        vap->roam_timeout_s > 0 ? monotonic_ms() + vap->roam_timeout_s * std::int64_t{1000} : 0;
    return 0;
}

int mainline_vap::set_roam_timeout(int seconds) {
    if (!is_vap(what_.ifname())) return 0;  // the agent tells the radio as well
    const std::int64_t bounded = std::clamp<std::int64_t>(seconds, 0, longest_timeout_s);
    memory()->roam_timeout_s = static_cast<int>(bounded);
    return 0;
}

int mainline_vap::add_neighbour(const neighbour_entry& neighbour) {
    vap_memory* const vap = memory();
    if (!vap) return -1;
    if (neighbour.custom) {
        const auto same = [&neighbour](const neighbour_entry& one) { return one.bssid == neighbour.bssid; };
        const auto known = std::find_if(vap->custom.begin(), vap->custom.end(), same);
        if (known != vap->custom.end())
            *known = neighbour;
        else if (vap->custom.size() < custom_limit)
            vap->custom.push_back(neighbour);
        else
            return -1;
        return 0;
    }
    const std::string request = set_neighbour_request(neighbour);
    if (request.empty()) {
        log_error(process_log, "%s: no neighbour report can tell of channel %u\n", what_.name(), neighbour.channel);
        return -1;
    }
    wireless_interface own;
    // hostapd's own entry knows more.
    if (what_.find(own) == 0 && own.mac == neighbour.bssid) return 0;
    return order(request, "take a neighbour") ? 0 : -1;
}

int mainline_vap::delete_neighbours() {
    wireless_interface own;
    if (!memory() || what_.find(own) < 0) return -1;
    const std::int64_t give_up_ms = monotonic_ms() + removal_limit_ms;
    for (int round = 0; round < removal_rounds; ++round) {
        std::string reply;
        if (!ask("SHOW_NEIGHBOR", reply, "list neighbours")) return -1;
        bool removed = false;
        for (const listed_neighbour& one : read_neighbour_list(reply)) {
            if (one.bssid.octets == own.mac) continue;
            if (monotonic_ms() >= give_up_ms) {
                log_error(process_log, "%s: hostapd is too slow to empty its list\n", what_.name());
                hung_requests_ += hung_limit;  // so that it is not asked for the rest of the list either
                return -1;
            }
            if (!order(remove_neighbour_request(one), "remove a neighbour")) return -1;
            removed = true;
        }
        if (!removed) return 0;
    }
    return -1;
}

int mainline_vap::delete_custom_neighbours() {
    vap_memory* const vap = memory();
    if (!vap) return -1;
    vap->custom.clear();
    return 0;
}

bool mainline_vap::is_narrowed() {
    std::string status;
    if (!ask("STATUS", status, "tell its state")) return false;
    const auto number = [&status](const char* name, int base) {
        return std::strtoul(std::string(find_value(status, name)).c_str(), nullptr, base);
    };
    if (number("num_sta_ht40_intolerant", 10) != 0) return true;
    const bool wide = (number("ht_caps_info", 16) & wide_capability) != 0;
    return wide && number("freq", 10) < 3000 && number("secondary_channel", 10) == 0;
}

}  // namespace ravd

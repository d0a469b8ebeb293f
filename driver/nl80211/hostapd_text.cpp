#include "driver/nl80211/hostapd_text.h"

#include <algorithm>
#include <cstdio>

#include "driver/chanspec.h"
#include "driver/nl80211/channel_block.h"

namespace ravd {
namespace {

// BSSID information of a neighbour of the same domain: reachable, same security, QoS, HT; at 5 GHz VHT as well.
constexpr unsigned information_2 = 0x0867;
constexpr unsigned information_5 = 0x1867;
// PHY types.
constexpr unsigned phy_ht = 7;
constexpr unsigned phy_vht = 9;

constexpr std::size_t candidate_limit = 16;
constexpr unsigned highest_preference = 255;
constexpr std::size_t ssid_limit = 32;

struct report {
    unsigned information;
    std::uint32_t operating_class;
    std::uint32_t channel;
    unsigned phy;
};

report report_of(const neighbour_entry& neighbour) {
    const bool band_2 = band_of_channel(neighbour.channel) == 2;
    return {band_2 ? information_2 : information_5, operating_class_of(neighbour.channel), neighbour.channel,
            band_2 ? phy_ht : phy_vht};
}

std::string hex_of(std::string_view bytes) {
    std::string text;
    char digits[3];
    for (const char c : bytes) {
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        text += digits;
    }
    return text;
}

// The next line of a text, which loses it.
std::string_view take_line(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return line;
}

}  // namespace

std::string_view find_value(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        const std::string_view line = take_line(text);
        if (line.size() > name.size() && line[name.size()] == '=' && line.substr(0, name.size()) == name)
            return line.substr(name.size() + 1);
    }
    return {};
}

std::string set_neighbour_request(const neighbour_entry& neighbour) {
    const report one = report_of(neighbour);
    if (one.operating_class == 0 || neighbour.ssid.empty() || neighbour.ssid.size() > ssid_limit) return {};
    const MacAddr bssid{neighbour.bssid};
    char body[32];
    // The information goes out as 32 bits, lowest octet first.
    std::snprintf(body, sizeof body, "%02x%02x0000%02x%02x%02x", one.information & 0xff, one.information >> 8,
                  one.operating_class, one.channel, one.phy);
    return "SET_NEIGHBOR " + bssid.to_lower() + " ssid=" + hex_of(neighbour.ssid) + " nr=" + bssid.to_digits() + body;
}

std::vector<listed_neighbour> read_neighbour_list(std::string_view text) {
    constexpr std::size_t mac_length = 17;
    constexpr std::string_view label = " ssid=";
    std::vector<listed_neighbour> entries;
    while (!text.empty()) {
        const std::string_view line = take_line(text);
        listed_neighbour one;
        const std::string mac(line.substr(0, mac_length));
        if (!is_plain_mac(mac.c_str()) || !parse_mac(mac.c_str(), one.bssid)) continue;
        if (line.substr(mac_length, label.size()) == label) {
            const std::string_view rest = line.substr(mac_length + label.size());
            const std::string_view ssid = rest.substr(0, rest.find(' '));
            if (ssid.size() > 2 * ssid_limit || ssid.find_first_not_of("0123456789abcdef") != ssid.npos) continue;
            one.ssid = ssid;
        }
        entries.push_back(std::move(one));
    }
    return entries;
}

std::string remove_neighbour_request(const listed_neighbour& neighbour) {
    std::string text = "REMOVE_NEIGHBOR " + neighbour.bssid.to_lower();
    if (!neighbour.ssid.empty()) text += " ssid=" + neighbour.ssid;
    return text;
}

std::string transition_request(const MacAddr& station, const std::vector<neighbour_entry>& candidates) {
    std::string text = "BSS_TM_REQ " + station.to_lower();
    unsigned preference = highest_preference;
    for (const neighbour_entry& candidate : candidates) {
        const report one = report_of(candidate);
        if (one.operating_class == 0) continue;
        if (preference == highest_preference) text += " pref=1 abridged=1";
        if (highest_preference - preference >= candidate_limit) break;
        char body[64];
        // Behind the report a subelement: candidate preference, id 3.
        std::snprintf(body, sizeof body, ",0x%04x,%u,%u,%u,0301%02x", one.information, one.operating_class, one.channel,
                      one.phy, preference--);
        text += " neighbor=" + MacAddr{candidate.bssid}.to_lower() + body;
    }
    return text;
}

}  // namespace ravd

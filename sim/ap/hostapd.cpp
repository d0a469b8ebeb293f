#include "sim/ap/hostapd.h"

#include <cctype>
#include <cstdlib>
#include <vector>

#include "sim/common/text.h"

namespace ravd::sim {
namespace {

constexpr std::int64_t return_ms = 1000;  // until stations are back

// Bytes of a hexadecimal text; false when it is none.
bool from_hex(const std::string& text, std::string& bytes) {
    bytes.clear();
    if (text.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const char pair[3] = {text[i], text[i + 1], '\0'};
        if (!std::isxdigit(static_cast<unsigned char>(pair[0])) || !std::isxdigit(static_cast<unsigned char>(pair[1])))
            return false;
        bytes.push_back(static_cast<char>(std::strtoul(pair, nullptr, 16)));
    }
    return true;
}

// "SET_NEIGHBOR BSSID ssid=HEX nr=HEX": a neighbour report's body has BSSID, information, class, channel and PHY type
// at least.
bool read_neighbour(const std::vector<std::string>& words, neighbour_entry& entry) {
    if (words.size() < 4) return false;
    const std::string& ssid = words[2];
    const std::string& report = words[3];
    const auto octets = parse_mac(words[1]);
    if (!octets || ssid.compare(0, 5, "ssid=") != 0 || report.compare(0, 3, "nr=") != 0) return false;
    std::string body;
    if (!from_hex(ssid.substr(5), entry.ssid) || !from_hex(report.substr(3), body) || body.size() < 13) return false;
    entry.bssid = *octets;
    for (std::size_t i = 0; i < octets->size(); ++i)
        if (static_cast<std::uint8_t>(body[i]) != (*octets)[i]) return false;
    entry.channel = static_cast<std::uint8_t>(body[11]);
    entry.rest = report.substr(3);
    return true;
}

}  // namespace

std::string hostapd::start() {
    if (ap_.hostapd_running) return "hostapd runs already";
    ap_.hostapd_running = true;
    files_.write_pid();
    files_.refresh();
    files_.notify("hostapd_started");
    log_.line("hostapd", "started");
    return_stations();
    return {};
}

std::string hostapd::stop() {
    if (!ap_.hostapd_running) return "hostapd does not run";
    ap_.hostapd_running = false;
    files_.remove_pid();
    files_.refresh();
    stations_.settle(false);
    for (radio_state& radio : ap_.radios)
        for (vap_state& vap : radio.vaps)
            vap.hostapd_neighbours.clear();
    log_.line("hostapd", "stopped");
    return {};
}

std::string hostapd::restart(std::int64_t pause_ms) {
    std::string reason = stop();
    if (!reason.empty()) return reason;
    loop_.after(pause_ms, [this] { start(); });
    return {};
}

void hostapd::return_stations() {
    loop_.after(return_ms, [this] { stations_.settle(true); });
}

void hostapd::set_radio(radio_state& radio, bool up) {
    radio.up = up;
    files_.refresh();
    log_.line("radio", "%s is %s", radio.name.c_str(), up ? "up" : "down");
    if (up)
        return_stations();
    else
        stations_.settle(true);
}

void hostapd::follow_config() {
    files_.refresh();
    return_stations();
}

std::string hostapd::command(const std::string& ifname, const std::string& text) {
    vap_state* vap = ap_.vap_of(ifname);
    std::vector<std::string> words;
    if (!vap || !split_words(text, words) || words.empty()) return "FAIL";
    if (words[0] == "PING") return "PONG";
    if (words[0] == "REMOVE_ALL_NEIGHBOR") {
        log_.line("hostapd", "%s: %zu neighbours removed", vap->name.c_str(), vap->hostapd_neighbours.size());
        vap->hostapd_neighbours.clear();
        return "OK";
    }
    neighbour_entry entry;
    if (words[0] != "SET_NEIGHBOR" || !read_neighbour(words, entry)) {
        log_.line("hostapd", "%s: cannot read \"%s\"", vap->name.c_str(), text.c_str());
        return "FAIL";
    }
    log_.line("hostapd", "%s: neighbour %s on channel %d", vap->name.c_str(), mac_text(entry.bssid).c_str(),
              entry.channel);
    // One entry a BSS: a second one takes the place of the first.
    for (neighbour_entry& known : vap->hostapd_neighbours)
        if (known.bssid == entry.bssid) return known = entry, "OK";
    vap->hostapd_neighbours.push_back(entry);
    return "OK";
}

}  // namespace ravd::sim

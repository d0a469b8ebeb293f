#include "hostd/clients.h"

#include <algorithm>

#include "hostd/lines.h"
#include "message/json.h"
#include "message/mac_addr.h"

namespace ravd::hostd {
namespace {

// A station that agreed to a transition and goes within this time went because of it. hostapd often learns by silence
// alone that it is elsewhere: after its ap_max_inactivity, 300 s unless configured otherwise, and its last questions.
constexpr std::int64_t transition_ms = 360000;

// "KEY=TEXT" among the words of an event.
std::string word_value(const std::vector<std::string>& words, const char* key) {
    for (const std::string& word : words) {
        std::string value = line_value(word, key);
        if (!value.empty()) return value;
    }
    return {};
}

std::string lower_mac(const std::string& text) {
    MacAddr mac;
    if (!is_plain_mac(text.c_str()) || !parse_mac(text.c_str(), mac)) return {};
    return mac.to_lower();
}

}  // namespace

std::string message_text(const client_event& event) {
    json_writer message(false);
    message.add_string("command", "wifi-client-trap");
    json_writer body(false, message, "event");
    body.add_string("type", event.type);
    body.add_string("dev", event.vap.c_str());
    body.add_string("mac", event.mac.c_str());
    body.add_string("ssid", event.ssid.c_str());
    body.add_int("rssi", event.rssi);
    {
        json_writer client(false, body, "client-info");
        client.add_string("using-802.11v", event.v ? "yes" : "no");
    }
    if (!event.target_mac.empty()) body.add_string("target-mac", event.target_mac.c_str());
    return message.text();
}

void client_table::take(const std::string& vap, const std::string& event, std::int64_t now_ms) {
    const std::vector<std::string> words = words_of(event);
    if (words.size() < 2) return;
    const std::string mac = lower_mac(words[1]);
    if (mac.empty()) return;
    if (words[0] == "AP-STA-CONNECTED") {
        joined(vap, mac, now_ms);
    } else if (words[0] == "AP-STA-DISCONNECTED") {
        left(vap, mac, now_ms);
    } else if (words[0] == "BSS-TM-RESP" && word_value(words, "status_code") == "0") {
        const auto found = vaps_[vap].find(mac);
        if (found == vaps_[vap].end()) return;
        found->second.target = lower_mac(word_value(words, "target_bssid"));
        found->second.agreed_ms = now_ms;
    }
}

void client_table::joined(const std::string& vap, const std::string& mac, std::int64_t now_ms) {
    // It cannot be at two of our VAPs; hostapd may tell of its end at the old one much later, or never.
    for (auto& [name, stations] : vaps_)
        if (name != vap && stations.count(mac) != 0) left(name, mac, now_ms);
    auto& stations = vaps_[vap];
    if (stations.size() >= limit && stations.count(mac) == 0) return;
    const station_facts facts = look_(vap, mac);
    stations[mac] = {facts.ssid, {}, 0};
    tell_({"auth", vap, mac, facts.ssid, facts.rssi, facts.v, {}});
}

void client_table::left(const std::string& vap, const std::string& mac, std::int64_t now_ms) {
    auto& stations = vaps_[vap];
    const auto found = stations.find(mac);
    if (found == stations.end()) return;
    const station gone = std::move(found->second);
    stations.erase(found);
    const bool roamed = !gone.target.empty() && now_ms - gone.agreed_ms <= transition_ms;
    tell_({roamed ? "80211v-roam" : "recv-disassoc", vap, mac, gone.ssid, 0, roamed, roamed ? gone.target : ""});
}

bool client_table::compare(const std::string& vap, const std::vector<std::string>& present,
                           const std::vector<std::string>& settled, std::int64_t now_ms) {
    const auto& stations = vaps_[vap];
    std::vector<std::string> gone;
    for (const auto& [mac, unused] : stations)
        if (std::find(present.begin(), present.end(), mac) == present.end()) gone.push_back(mac);
    std::vector<std::string> come;
    for (const std::string& mac : settled)
        if (stations.count(mac) == 0) come.push_back(mac);
    for (const std::string& mac : gone)
        left(vap, mac, now_ms);
    for (const std::string& mac : come)
        joined(vap, mac, now_ms);
    return !gone.empty() || !come.empty();
}

void client_table::begin(const std::string& vap, const std::string& ssid, const std::vector<std::string>& present) {
    auto& stations = vaps_[vap];
    stations.clear();
    for (const std::string& mac : present) {
        if (stations.size() >= limit) return;
        stations[mac] = {ssid, {}, 0};
    }
}

std::size_t client_table::size() const {
    std::size_t count = 0;
    for (const auto& [name, stations] : vaps_)
        count += stations.size();
    return count;
}

}  // namespace ravd::hostd

#include "sim/console/agent_record.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "sim/common/text.h"

namespace ravd::sim {
namespace {

constexpr std::size_t ordered_radio_limit = 64;

void take_flag(json_object* settings, const char* key, int& flag) {
    if (json_member(settings, key)) flag = json_number(settings, key) != 0 ? 1 : 0;
}

const char* const primary_names[] = {"none", "lower", "upper", "ll", "lu", "ul", "uu"};

std::uint8_t primary_index(const std::string& name) {
    const auto found = std::find(std::begin(primary_names), std::end(primary_names), name);
    return found == std::end(primary_names) ? std::uint8_t{0}
                                            : static_cast<std::uint8_t>(found - std::begin(primary_names));
}

int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// What no air has is kept at what a message can hold.
std::int16_t small(int number) { return static_cast<std::int16_t>(std::clamp(number, -32768, 32767)); }

}  // namespace

const char* primary_name(std::uint8_t index) { return primary_names[std::min<std::size_t>(index, 6)]; }

std::uint64_t mac_number(const std::string& text) {
    if (text.size() != 17) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2) {
            if (text[i] != ':') return 0;
            continue;
        }
        const int digit = digit_value(text[i]);
        if (digit < 0) return 0;
        number = number << 4 | static_cast<std::uint64_t>(digit);
    }
    return number;
}

std::string mac_text(std::uint64_t number) {
    char text[18];
    const auto byte = [&](int index) { return static_cast<unsigned>(number >> (40 - 8 * index) & 0xff); };
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", byte(0), byte(1), byte(2), byte(3), byte(4),
                  byte(5));
    return text;
}

scan_report make_report(std::int64_t time_ms, const std::vector<radio_view>& radios,
                        const std::vector<reported_bss>& heard) {
    scan_report report;
    report.time_ms = time_ms;
    report.load = channel_loads(radios, heard);
    struct merged {
        heard_bss bss;
        int last_round = -1;
    };
    std::map<std::uint64_t, merged> by_bssid;
    for (const reported_bss& one : heard) {
        report.rounds = std::max(report.rounds, static_cast<unsigned>(one.round + 1));
        const std::uint64_t bssid = mac_number(one.bssid);
        if (bssid == 0 || one.channel <= 0 || one.channel > 233) continue;
        merged& entry = by_bssid[bssid];
        const int rounds = entry.bss.rounds + (one.round == entry.last_round ? 0 : 1);
        if (entry.last_round < 0 || dbm(one.rssi) > entry.bss.rssi)
            entry.bss = {bssid,
                         small(dbm(one.rssi)),
                         small(one.channel),
                         small(one.bandwidth),
                         small(one.tx_power),
                         primary_index(one.primary),
                         0};
        entry.bss.rounds = static_cast<std::uint8_t>(std::min(rounds, 255));
        entry.last_round = one.round;
    }
    report.heard.reserve(by_bssid.size());
    for (const auto& entry : by_bssid)
        report.heard.push_back(entry.second.bss);
    std::stable_sort(report.heard.begin(), report.heard.end(),
                     [](const heard_bss& a, const heard_bss& b) { return a.rssi > b.rssi; });
    return report;
}

void order_record::take(json_object* settings, std::int64_t now_ms) {
    time_ms = now_ms;
    take_flag(settings, "use-dca", use_dca);
    take_flag(settings, "use-tpc", use_tpc);
    take_flag(settings, "use-80211v", use_80211v);
    take_flag(settings, "use-80211r", use_80211r);
    json_object* list = json_member(settings, "radios");
    for (std::size_t i = 0; i < std::min(json_length(list), radio_limit); ++i) {
        json_object* one = json_element(list, i);
        const int id = json_number(one, "id");
        if (radios.size() >= ordered_radio_limit && radios.count(id) == 0) continue;
        radio_setting& radio = radios[id];
        radio.id = id;
        radio.channel = json_number(one, "channel", radio.channel);
        radio.bandwidth = json_number(one, "bandwidth", radio.bandwidth);
        radio.power = json_number(one, "power", radio.power);
        if (json_member(one, "primary-channel"))
            radio.primary = printable(json_text(one, "primary-channel"), text_limit);
    }
    // Every one replaces the list, also by leaving it out.
    json_object* told = json_member(settings, "802dot11k");
    neighbours.reset();
    if (told) neighbours = std::shared_ptr<json_object>(json_object_get(told), json_object_put);
}

}  // namespace ravd::sim

#include "sim/service/presentation.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "sim/common/table.h"
#include "sim/common/text.h"
#include "sim/service/channel_load.h"

namespace ravd::sim {
namespace {

constexpr std::size_t bar_width = 40;
constexpr std::size_t value_limit = 80;

std::string joined(const std::vector<int>& numbers) {
    std::string text;
    for (const int n : numbers)
        text += (text.empty() ? "" : " ") + std::to_string(n);
    return text;
}

std::string locks(const radio_view& radio) {
    std::string text;
    const auto add = [&](bool locked, const char* name) {
        if (locked) text += (text.empty() ? "" : ",") + std::string(name);
    };
    add(radio.locked_for_dca, "dca");
    add(radio.locked_for_tpc, "tpc");
    add(radio.locked_for_balancer, "balancer");
    add(radio.locked_for_80211v, "80211v");
    return text.empty() ? "-" : text;
}

}  // namespace

std::string two_digits(double value) {
    const long hundredths = std::lround(value * 100);
    const std::string rest = std::to_string(hundredths % 100);
    return std::to_string(hundredths / 100) + "." + (rest.size() < 2 ? "0" : "") + rest;
}

std::string radio_table(const std::vector<radio_view>& radios) {
    if (radios.empty()) return "  no radios";
    table t({"radio", "state", "channel", "band", "MHz", "primary", "power", "min", "max", "locked", "available"});
    table vaps({"radio", "vap", "ssid", "mac", "11k", "11r"});
    bool any_vap = false;
    for (const radio_view& r : radios) {
        t.add({std::to_string(r.id), r.active ? "up" : "down", std::to_string(r.channel), std::to_string(r.band),
               std::to_string(r.bandwidth), r.primary, std::to_string(r.power), std::to_string(r.power_min),
               std::to_string(r.power_max), locks(r), joined(r.available)});
        for (const vap_view& vap : r.vaps) {
            any_vap = true;
            vaps.add({std::to_string(r.id), std::to_string(vap.id), vap.ssid, vap.mac, vap.kv ? "yes" : "no",
                      vap.ft ? "yes" : "no"});
        }
    }
    return any_vap ? t.text() + "\n" + vaps.text() : t.text();
}

std::string client_table(const std::vector<radio_view>& radios) {
    table t({"radio", "client", "ssid", "rssi"});
    bool any = false;
    for (const radio_view& r : radios) {
        for (const station_view& s : r.stations) {
            any = true;
            t.add({std::to_string(r.id), s.mac, s.ssid, std::to_string(s.rssi)});
        }
    }
    return any ? t.text() : "  no clients listed";
}

std::string environment_table(const std::vector<reported_bss>& heard, std::size_t rows) {
    // One line per BSS: its loudest entry and in how many rounds it was heard.
    struct seen {
        const reported_bss* loudest;
        unsigned rounds;
    };
    std::map<std::string, seen> by_bssid;
    for (const reported_bss& bss : heard) {
        seen& entry = by_bssid.emplace(bss.bssid, seen{&bss, 0}).first->second;
        ++entry.rounds;
        if (dbm(bss.rssi) > dbm(entry.loudest->rssi)) entry.loudest = &bss;
    }
    if (by_bssid.empty()) return "  nothing heard";
    std::vector<seen> sorted;
    sorted.reserve(by_bssid.size());
    for (const auto& entry : by_bssid)
        sorted.push_back(entry.second);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const seen& a, const seen& b) { return dbm(a.loudest->rssi) > dbm(b.loudest->rssi); });
    table t({"bssid", "rssi", "channel", "MHz", "primary", "power", "heard"});
    for (std::size_t i = 0; i < std::min(rows, sorted.size()); ++i) {
        const reported_bss& bss = *sorted[i].loudest;
        t.add({bss.bssid, std::to_string(bss.rssi), std::to_string(bss.channel), std::to_string(bss.bandwidth),
               bss.primary, std::to_string(bss.tx_power), std::to_string(sorted[i].rounds)});
    }
    const std::string more = sorted.size() > rows ? "\n  and " + std::to_string(sorted.size() - rows) + " more" : "";
    return t.text() + more;
}

std::string occupancy_chart(const std::vector<radio_view>& radios, const std::vector<reported_bss>& heard) {
    const std::vector<channel_load> columns = channel_loads(radios, heard);
    if (columns.empty()) return "  no channels";
    double most = 1;
    for (const channel_load& c : columns)
        most = std::max(most, c.load);
    table t({"channel", "load", "BSSs", "loudest", ""});
    for (const channel_load& c : columns) {
        const auto length = static_cast<std::size_t>(std::ceil(c.load / most * bar_width - 1e-9));
        t.add({std::to_string(c.channel), two_digits(c.load), std::to_string(c.bss),
               c.bss == 0 ? "" : std::to_string(c.loudest),
               "|" + std::string(length, '#') + (c.in_use ? " <- in use" : "")});
    }
    return t.text();
}

std::string present_message(json_object* message) {
    if (!json_object_is_type(message, json_type_object)) return printable(json_compact(message), 200);
    const std::string cmd = json_text(message, "cmd");
    std::string text = cmd.empty() ? "(no cmd)" : printable(cmd, value_limit);
    std::string below;
    json_object_object_foreach(message, name, value) {
        const std::string key = name;
        if (key == "version" || key == "service" || key == "cmd" || key == "ap-mac") continue;
        if (key == "radios" && cmd != "rrm-probe-response") {
            const std::vector<radio_view> radios = read_radios(message);
            below += "\n" + radio_table(radios);
            for (const radio_view& radio : radios) {
                if (radio.stations.empty()) continue;
                below += "\n" + client_table(radios);
                break;
            }
        } else if (key == "rf-environment") {
            std::size_t entries = 0;
            for (std::size_t i = 0; i < json_length(value); ++i)
                entries += json_length(json_element(value, i));
            text += " rounds=" + std::to_string(json_length(value)) + " entries=" + std::to_string(entries);
        } else {
            text += " " + printable(key, value_limit) + "=" + printable(json_compact(value), 4 * value_limit);
        }
    }
    return text + below;
}

}  // namespace ravd::sim

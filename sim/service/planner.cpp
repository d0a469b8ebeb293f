#include "sim/service/planner.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>

namespace ravd::sim {
namespace {

// A change has to pay: at least this part of the throughput that the radio can expect now.
constexpr double worthwhile = 0.1;
// Costs of channels that are worse for reasons that no scan shows.
constexpr double radar_cost = 0.05;        // radar has to be listened for before use
constexpr double overlapping_cost = 0.05;  // 2.4 GHz channels between 1, 6 and 11

int centre(int channel) {
    if (channel == 14) return 2484;
    return band_of(channel) == 2 ? 2407 + 5 * channel : 5000 + 5 * channel;
}

std::string upper_case(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

double extra_cost(int channel) {
    if (band_of(channel) == 2) return channel == 1 || channel == 6 || channel == 11 ? 0 : overlapping_cost;
    return needs_radar_detection(channel) ? radar_cost : 0;
}

struct candidate {
    int channel;
    int bandwidth;
    std::string primary;
    double load;
    // What the radio can expect: its width, shared with what is heard.
    double value;
};

candidate assess(int channel, int bandwidth, const std::string& primary, const std::vector<reported_bss>& heard,
                 const std::vector<std::string>& own) {
    candidate c = {channel, bandwidth, primary, load_on(channel_span(channel, bandwidth, primary), heard, own), 0};
    c.value = bandwidth / (1 + c.load + extra_cost(channel));
    // Of the channels in one block the quietest becomes the primary one.
    if (bandwidth > 20) c.value -= 0.01 * load_on(channel_span(channel, 20, ""), heard, own);
    return c;
}

std::vector<candidate> candidates(const radio_view& radio, const std::vector<reported_bss>& heard,
                                  const std::vector<std::string>& own) {
    std::vector<candidate> out;
    const auto available = [&](int channel) {
        return std::find(radio.available.begin(), radio.available.end(), channel) != radio.available.end();
    };
    for (const int channel : radio.available) {
        if (band_of(channel) != radio.band) continue;
        out.push_back(assess(channel, 20, "none", heard, own));
        if (band_of(channel) == 2) continue;  // wider would take half of the 2.4 GHz band
        for (const int bandwidth : {40, 80}) {
            const int start = block_start(channel, bandwidth);
            bool whole = start != 0;
            for (int other = start; whole && other < start + bandwidth / 5; other += 4)
                whole = available(other);
            if (!whole) continue;
            const std::string primary = bandwidth == 80 ? "none" : channel == start ? "lower" : "upper";
            out.push_back(assess(channel, bandwidth, primary, heard, own));
        }
    }
    return out;
}

std::string rounded(double value) {
    const long tenths = std::lround(value * 10);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

int choose_power(const radio_view& radio, double load) {
    const int low = std::min(radio.power_min, radio.power_max);
    const int high = std::max(radio.power_min, radio.power_max);
    // Loud neighbours hear this radio too: the more of them, the less power.
    return high - static_cast<int>(std::lround((high - low) * std::min(load / 2, 1.0)));
}

}  // namespace

bool needs_radar_detection(int channel) { return channel >= 52 && channel <= 144; }

int block_start(int channel, int bandwidth) {
    const int step = bandwidth / 5;
    const auto in = [&](int first, int last) {
        return channel >= first && channel <= last && (channel - first) % 4 == 0
                   ? first + (channel - first) / step * step
                   : 0;
    };
    if (const int start = in(36, 64)) return start;
    if (const int start = in(100, 144)) return start;
    if (const int start = in(149, 161)) return start;
    return 0;
}

span channel_span(int channel, int bandwidth, const std::string& primary) {
    const int low = centre(channel) - 10;
    int offset = 0;  // of the control channel from the lowest, in MHz
    if (bandwidth == 40) {
        if (primary == "upper") {
            offset = 20;
        } else if (primary != "lower" && band_of(channel) != 2) {
            const int start = block_start(channel, 40);
            offset = start ? (channel - start) * 5 : 0;
        }
    } else if (bandwidth == 80) {
        if (primary.size() == 2 && primary.find_first_not_of("lu") == std::string::npos) {
            offset = (primary[0] == 'u' ? 40 : 0) + (primary[1] == 'u' ? 20 : 0);
        } else {
            const int start = block_start(channel, 80);
            offset = start ? (channel - start) * 5 : 0;
        }
    } else {
        return {low, low + 20};
    }
    return {low - offset, low - offset + bandwidth};
}

double overlap(const span& a, const span& b) {
    const int common = shared_mhz(a, b);
    if (common <= 0) return 0;
    // On overlapping 2.4 GHz channels nobody hears the other's frames well enough to wait for their end: any overlap
    // counts in full.
    return a.low < 2500 ? 1.0 : static_cast<double>(common) / std::min(a.high - a.low, b.high - b.low);
}

double strength(double dbm) { return std::clamp((dbm + 95) / 60.0, 0.0, 1.0); }

double weight(int rssi) { return strength(dbm(rssi)); }

double load_on(const span& where, const std::vector<reported_bss>& heard, const std::vector<std::string>& own) {
    std::vector<std::string> ours;
    ours.reserve(own.size());
    for (const std::string& bssid : own)
        ours.push_back(upper_case(bssid));
    std::map<std::string, double> loads;
    for (const reported_bss& bss : heard) {
        if (bss.channel <= 0 || bss.channel > 233) continue;
        const std::string name = upper_case(bss.bssid);
        if (std::find(ours.begin(), ours.end(), name) != ours.end()) continue;
        const double part = overlap(where, channel_span(bss.channel, bss.bandwidth, bss.primary));
        if (part <= 0) continue;
        double& load = loads[name];
        load = std::max(load, weight(bss.rssi) * part);
    }
    double sum = 0;
    for (const auto& entry : loads)
        sum += entry.second;
    return sum;
}

std::vector<decision> plan(const std::vector<radio_view>& radios, const std::vector<reported_bss>& heard) {
    std::vector<std::string> own;
    for (const radio_view& radio : radios)
        for (const vap_view& vap : radio.vaps)
            own.push_back(vap.mac);
    std::vector<decision> out;
    for (const radio_view& radio : radios) {
        if (!radio.active) continue;
        decision d;
        d.radio = radio.id;
        const candidate now = assess(radio.channel, radio.bandwidth, radio.primary, heard, own);
        candidate best = now;
        if (radio.locked_for_dca) {
            d.reason = "channel locked";
        } else {
            const std::vector<candidate> all = candidates(radio, heard, own);
            const bool usable =
                std::find(radio.available.begin(), radio.available.end(), radio.channel) != radio.available.end();
            double to_beat = usable ? now.value * (1 + worthwhile) : -1;
            for (const candidate& c : all) {
                if (c.value <= to_beat) continue;
                to_beat = c.value;
                best = c;
            }
            d.set_channel = !all.empty();
            d.reason = all.empty() ? "no available channels"
                       : best.channel == now.channel && best.bandwidth == now.bandwidth && best.primary == now.primary
                           ? "stays"
                           : "load " + rounded(now.load) + " becomes " + rounded(best.load);
        }
        d.channel = best.channel;
        d.bandwidth = best.bandwidth;
        d.primary = best.primary;
        d.load = best.load;
        d.current_load = now.load;
        d.set_power = !radio.locked_for_tpc;
        d.power = d.set_power ? choose_power(radio, best.load) : radio.power;
        if (radio.locked_for_tpc) d.reason += ", power locked";
        out.push_back(d);
    }
    return out;
}

std::string difference(const decision& ordered, const radio_view& shown) {
    std::string text;
    const auto compare = [&](const char* name, const std::string& wanted, const std::string& found) {
        if (wanted != found)
            text += (text.empty() ? "" : ", ") + std::string(name) + " " + found + " instead of " + wanted;
    };
    if (!shown.active) return "is down";
    if (ordered.set_channel) {
        compare("channel", std::to_string(ordered.channel), std::to_string(shown.channel));
        compare("bandwidth", std::to_string(ordered.bandwidth), std::to_string(shown.bandwidth));
        if (ordered.bandwidth == 40) compare("primary-channel", ordered.primary, shown.primary);
    }
    if (ordered.set_power) compare("power", std::to_string(ordered.power), std::to_string(shown.power));
    return text;
}

}  // namespace ravd::sim

#include "sim/ap/access_point.h"

#include <algorithm>
#include <cstdlib>

namespace ravd::sim {
namespace {

const char* truth(bool value) { return value ? "true" : "false"; }

void write_radio_config(config_store& config, const std::string& name, const scenario_radio& from) {
    const auto set = [&](const char* key, const std::string& value) { config.set(radio_path(name, key), value); };
    config.set("/interface/" + name + "/common/enabled", truth(from.up));
    set("country", from.country);
    set("auto-channel", truth(from.auto_channel));
    set("channel", std::to_string(from.use.channel));
    set("bandwidth", std::to_string(from.use.bandwidth));
    set("control-sideband", sideband_of(make_chanspec(from.use).value_or(0)) == "upper" ? "upper" : "lower");
    set("tx-power", std::to_string(from.power));
    set("tx-power-max", std::to_string(from.power_max));
    set("tx-power-min", std::to_string(from.power_min));
    set("use-limit-channels", truth(!from.limit_channels.empty()));
    std::string limit;
    for (const int channel : from.limit_channels)
        limit += (limit.empty() ? "" : " ") + std::to_string(channel);
    set("limit-channels", limit);
    config.set("/interface/" + name + "/wlan/wds/enabled", truth(from.wds));
    for (int link = 0; link < 8; ++link)
        config.set("/interface/" + name + "-wds" + std::to_string(link) + "/common/enabled",
                   truth(from.wds && link == 0));
}

void write_vap_config(config_store& config, const std::string& name, const scenario_vap& from) {
    const auto set = [&](const char* key, const std::string& value) { config.set(vap_config_path(name, key), value); };
    set("common/enabled", truth(from.enabled));
    set("vap/ssid", from.ssid);
    set("vap/ap-security/mode", from.security);
    set("vap/captive-portal/enabled", truth(from.captive_portal));
    set("vap/w80211kv-config/enabled", truth(from.kv));
    set("vap/ft-config/enabled", truth(from.ft));
}

vap_state make_vap(const scenario& from, int radio, int index, const scenario_vap& vap) {
    vap_state state;
    state.name = "wlan" + std::to_string(radio) + "-va" + std::to_string(index);
    state.bssid = from.base_mac;
    state.bssid[5] = static_cast<std::uint8_t>(state.bssid[5] + 1 + index + 8 * radio);
    for (const scenario_station& one : vap.stations) {
        station added;
        added.is = one;
        state.stations.push_back(added);
    }
    return state;
}

}  // namespace

std::string radio_path(const std::string& radio, const char* key) {
    return "/interface/" + radio + "/wlan/radio/" + key;
}

std::string vap_config_path(const std::string& vap, const char* key) { return "/interface/" + vap + "/" + key; }

access_point::access_point(const scenario& from) : start(from) {
    config.set("/corvane/dca", truth(from.dca));
    config.set("/corvane/tpc", truth(from.tpc));
    config.set("/corvane/load-balance-80211v", truth(from.load_balance));
    for (int r = 0; r < radio_count; ++r) {
        radio_state& radio = radios[static_cast<std::size_t>(r)];
        const scenario_radio& given = from.radios[static_cast<std::size_t>(r)];
        radio.name = "wlan" + std::to_string(r);
        radio.kind = given.kind;
        radio.band = given.band;
        radio.up = given.up;
        radio.channels = given.channels;
        radio.coex = given.coex;
        write_radio_config(config, radio.name, given);
        for (std::size_t v = 0; v < given.vaps.size(); ++v) {
            radio.vaps.push_back(make_vap(from, r, static_cast<int>(v), given.vaps[v]));
            write_vap_config(config, radio.vaps.back().name, given.vaps[v]);
        }
    }
    for (const auto& [path, value] : from.config)
        config.set(path, value);
    for (std::size_t r = 0; r < radios.size(); ++r) {
        radios[r].chanspec = make_chanspec(from.radios[r].use).value_or(word_20_mhz);
        radios[r].power = from.radios[r].power;
        std::string reason;
        apply_radio_config(radios[r], reason);
    }
}

radio_state* access_point::radio_of(const std::string& ifname) {
    for (radio_state& radio : radios)
        if (radio.name == ifname.substr(0, ifname.find('-')) && (radio.name == ifname || vap_of(ifname))) return &radio;
    return nullptr;
}

vap_state* access_point::vap_of(const std::string& ifname) {
    for (radio_state& radio : radios)
        for (vap_state& vap : radio.vaps)
            if (vap.name == ifname) return &vap;
    return nullptr;
}

std::string access_point::ssid_of(const vap_state& vap) const {
    return config.text(vap_config_path(vap.name, "vap/ssid")).value_or("");
}

bool access_point::vap_up(const radio_state& radio, const vap_state& vap) const {
    return radio.up && hostapd_running && config.is_true(vap_config_path(vap.name, "common/enabled")) &&
           !ssid_of(vap).empty();
}

bool access_point::apply_radio_config(radio_state& radio, std::string& reason) {
    const auto number = [&](const char* key) {
        return std::atoi(config.text(radio_path(radio.name, key)).value_or("").c_str());
    };
    bool whole = true;
    const int power = number("tx-power");
    if (power < number("tx-power-min") || power > number("tx-power-max")) {
        reason = "a power of " + std::to_string(power) + " is outside the radio's limits";
        whole = false;
    } else {
        radio.power = power;
    }
    channel_use use;
    use.channel = number("channel");
    use.bandwidth = number("bandwidth");
    use.sideband = config.text(radio_path(radio.name, "control-sideband")).value_or("none");
    const auto chanspec = make_chanspec(use);
    if (std::find(radio.channels.begin(), radio.channels.end(), use.channel) == radio.channels.end()) {
        reason = "channel " + std::to_string(use.channel) + " is not among the radio's channels";
        return false;
    }
    if (!chanspec) {
        reason = "channel " + std::to_string(use.channel) + " has no width of " + std::to_string(use.bandwidth) +
                 " MHz with sideband " + use.sideband;
        return false;
    }
    radio.chanspec = *chanspec;
    return whole;
}

std::uint32_t access_point::live_chanspec(const radio_state& radio) const {
    const bool wide_2g = radio.band == 2 && (radio.chanspec & word_bandwidth_mask) == word_40_mhz;
    if (!wide_2g || !radio.coex) return radio.chanspec;
    const auto heard = [](const scenario_neighbour& n) {
        return band_of(n.use.channel) == 2 && n.rssi >= hearing_limit_dbm;
    };
    if (std::none_of(start.neighbours.begin(), start.neighbours.end(), heard) &&
        std::none_of(nearby.begin(), nearby.end(), heard))
        return radio.chanspec;
    return static_cast<std::uint32_t>(control_channel(radio.chanspec)) | word_20_mhz;
}

}  // namespace ravd::sim

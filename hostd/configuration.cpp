#include "hostd/configuration.h"

#include "core/ifname.h"
#include "hostd/lines.h"

namespace ravd::hostd {
namespace {

const char* truth(bool value) { return value ? "true" : "false"; }

// What `text` begins with is cut off; false when it begins with something else.
bool cut_prefix(std::string& text, const char* prefix) {
    const std::string wanted = prefix;
    if (text.compare(0, wanted.size(), wanted) != 0) return false;
    text.erase(0, wanted.size());
    return true;
}

// What the service orders stands before our own file's value.
bool is_ordered(const std::string& path) {
    const std::string key = "/wlan/radio/tx-power";
    return path.size() > key.size() && path.compare(path.size() - key.size(), key.size(), key) == 0;
}

}  // namespace

std::optional<std::string> configuration::value(const std::string& path) const {
    std::string rest = plain_path(path);
    const auto own = own_.values.find(rest);
    if (own != own_.values.end() && !is_ordered(rest)) return own->second;
    if (cut_prefix(rest, "/corvane/")) {
        const bool is_switch = rest == "dca" || rest == "tpc" || rest == "load-balance-80211v";
        return is_switch ? std::optional<std::string>("true") : std::nullopt;
    }
    if (!cut_prefix(rest, "/interface/")) return std::nullopt;
    const std::size_t slash = rest.find('/');
    if (slash == std::string::npos) return std::nullopt;
    const std::string name = rest.substr(0, slash);
    const std::string key = rest.substr(slash + 1);
    return name.find('-') == std::string::npos ? radio_value(name, key) : vap_value(name, key);
}

std::optional<std::string> configuration::radio_value(const std::string& name, const std::string& key) const {
    for (const auto& radio : radios_) {
        if (radio->name() != name) continue;
        std::string radio_key = key;
        if (cut_prefix(radio_key, "wlan/radio/")) return radio->value(radio_key);
        if (key == "wlan/wds/enabled") return "false";
        if (key == "common/enabled") return truth(radio->exists());
    }
    return std::nullopt;
}

std::optional<std::string> configuration::vap_value(const std::string& name, const std::string& key) const {
    int radio = 0;
    int index = 0;
    if (!parse_vap_ifname(name.c_str(), radio, index))  // a WDS link
        return key == "common/enabled" ? std::optional<std::string>("false") : std::nullopt;
    const vap* known = vaps_.find(name);
    const bool enabled = known && known->description().enabled;
    if (key == "common/enabled") return truth(enabled);
    if (!enabled) return std::nullopt;
    if (key == "vap/ssid") return ssid(name);
    if (key == "vap/ap-security/mode") return known->description().security;
    if (key == "vap/captive-portal/enabled") return "false";
    if (key == "vap/w80211kv-config/enabled") return truth(hostapd_.steers(name));
    if (key == "vap/ft-config/enabled") return truth(known->description().fast_transition);
    return std::nullopt;
}

std::string configuration::ssid(const std::string& vap_name) const {
    std::uint32_t index = 0;
    wireless_interface interface;
    if (kernel_.interface_index(vap_name.c_str(), index) != 0 || kernel_.get_interface(index, interface) != 0)
        return {};
    return interface.ssid;
}

}  // namespace ravd::hostd

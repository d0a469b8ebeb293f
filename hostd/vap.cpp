#include "hostd/vap.h"

#include <tuple>

#include "core/ifname.h"
#include "core/logger.h"
#include "hostd/lines.h"
#include "message/mac_addr.h"

namespace ravd::hostd {
namespace {

auto fields(const vap_description& one) {
    return std::tie(one.enabled, one.ssid, one.security, one.bssid, one.fast_transition, one.modes.ht, one.modes.vht,
                    one.modes.he);
}

// hostapd's "wpa" bits and its key management words as one security mode.
std::string security_of(const std::string& wpa, const std::string& key_management) {
    if (wpa.empty() || wpa == "0") return "OPEN";
    bool psk = false;
    bool sae = false;
    for (const std::string& word : words_of(key_management)) {
        if (word.find("EAP") != std::string::npos) return wpa == "2" ? "WPA2_1X" : "WPA_WPA2_1X";
        psk = psk || word.find("PSK") != std::string::npos;
        sae = sae || word.find("SAE") != std::string::npos;
    }
    if (sae) return psk ? "WPA2_WPA3_PSK" : "WPA3_SAE";
    if (!psk) return "OPEN";
    return wpa == "2" ? "WPA2_PSK" : wpa == "1" ? "WPA_PSK" : "WPA_WPA2_PSK";
}

}  // namespace

bool operator==(const vap_description& a, const vap_description& b) { return fields(a) == fields(b); }

vap_description describe(const std::string& status, const std::string& config) {
    vap_description result;
    const std::string key_management = line_value(config, "key_mgmt");
    result.enabled = line_value(status, "state") == "ENABLED";
    result.ssid = line_value(config, "ssid");
    result.security = security_of(line_value(config, "wpa"), key_management);
    result.bssid = line_value(config, "bssid");
    if (!is_plain_mac(result.bssid.c_str())) result.bssid.clear();
    result.fast_transition = key_management.find("FT-") != std::string::npos;
    result.modes.ht = line_value(status, "ieee80211n") == "1";
    result.modes.vht = line_value(status, "ieee80211ac") == "1";
    result.modes.he = line_value(status, "ieee80211ax") == "1";
    return result;
}

vap::vap(const std::string& name, const std::string& directory, patience& time)
    : name_(name),
      radio_(radio_index(name.c_str())),
      control_(name, directory),
      events_(name, directory),
      time_(time) {}

void vap::follow() {
    events_.verify();
    if (!events_.attached() && !time_.spent()) {
        const hostapd_result result = time_.attach(events_);
        const bool listens = result != hostapd_result::absent;
        const bool tells = result == hostapd_result::answered && (refresh() || description_ != vap_description());
        if (listens && !tells && !silent_)
            log_warning(process_log, "%s: hostapd listens, and does not tell what it is\n", name_.c_str());
        silent_ = listens && !tells;
    }
    if (!events_.attached()) description_ = {};
}

bool vap::refresh() {
    std::string status;
    std::string config;
    if (ask("STATUS", status) != hostapd_result::answered || ask("GET_CONFIG", config) != hostapd_result::answered)
        return false;
    description_ = describe(status, config);
    return true;
}

}  // namespace ravd::hostd

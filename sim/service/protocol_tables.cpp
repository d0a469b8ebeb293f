#include "sim/service/protocol_tables.h"

#include <cstring>

namespace ravd::sim {
namespace {

using k = member_kind;
using p = presence;

constexpr member_rule version = {"version", k::fixed_text, p::always, nullptr, 0, "2.4"};
constexpr member_rule service = {"service", k::fixed_text, p::always, nullptr, 0, "rrm"};
constexpr member_rule cmd = {"cmd", k::text};
constexpr member_rule ap_mac = {"ap-mac", k::mac_any};  // as the factory data has it
constexpr member_rule domain = {"domain", k::text};

const member_rule vap_members[] = {
    {"id", k::integer}, {"ssid", k::text}, {"mac", k::mac_lower}, {"802dot11k", k::flag}, {"802dot11r", k::flag},
};
const shape vap_shape = shape_of(vap_members);

const member_rule station_members[] = {
    {"mac", k::mac_lower},
    {"ssid", k::text},
    {"rssi", k::integer},
};
const shape station_shape = shape_of(station_members);

const member_rule radio_members[] = {
    {"id", k::integer},
    {"status", k::flag},
    {"mac-offset", k::integer},
    {"radio-mac-count", k::fixed, p::always, nullptr, 8},
    {"locked-for-dca", k::flag},
    {"locked-for-tpc", k::flag},
    {"locked-for-balancer", k::fixed, p::always, nullptr, 1},
    {"locked-for-80211v", k::flag},
    {"power", k::integer},
    {"power-max", k::integer},
    {"power-min", k::integer},
    {"channel", k::integer},
    {"band", k::integer},
    {"bandwidth", k::width},
    {"primary-channel", k::one_of, p::always, nullptr, 0, "none lower upper"},
    {"available-channels", k::channels, p::active},
    {"vaps", k::list, p::active, &vap_shape},
    {"assoclist", k::list, p::maybe_active, &station_shape},
};

const member_rule factory_members[] = {
    {"board", k::text},
    {"hw", k::text},
    {"serial", k::text},
    {"mac", k::text},
};
const shape factory_shape = shape_of(factory_members);

const member_rule heard_members[] = {
    {"bssid", k::mac_lower},
    {"rssi", k::integer},
    {"channel", k::integer},
    {"tx-power", k::integer},
    {"primary-channel", k::one_of, p::always, nullptr, 0, "none lower upper ll lu ul uu"},
    {"bandwidth", k::width},
};
const shape heard_shape = shape_of(heard_members);

const member_rule probe_members[] = {
    {"mac", k::mac},
    {"ssid", k::text},
    {"rssi", k::integer},
};
const shape probe_shape = shape_of(probe_members);

const member_rule probe_radio_members[] = {
    {"id", k::integer},
    {"probe-list", k::list, p::always, &probe_shape},
};
const shape probe_radio_shape = shape_of(probe_radio_members);

const member_rule envelope_members[] = {version, service, cmd, ap_mac};

const member_rule subscribe_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    domain,
    {"ap-mac-count", k::fixed, p::always, nullptr, 16},
    {"use-wildcard-80211r", k::fixed, p::always, nullptr, 0},
    {"factory", k::object, p::always, &factory_shape},
    {"radios", k::list, p::always, &radio_shape},
};

// "unsubscribe-request", "rrm-disassoc-all-clients"
const member_rule farewell_members[] = {
    version, service, cmd, ap_mac, domain, {"factory", k::object, p::always, &factory_shape},
};

// "rrm-mode-response", "rrm-config-changed"
const member_rule description_members[] = {
    version, service, cmd, ap_mac, domain, {"radios", k::list, p::always, &radio_shape},
};

const member_rule scan_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    domain,
    {"radios", k::list, p::always, &radio_shape},
    {"rf-environment", k::rounds, p::always, &heard_shape},
};

const member_rule probe_response_members[] = {
    version, service, cmd, ap_mac, domain, {"radios", k::list, p::always, &probe_radio_shape},
};

const member_rule assoc_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    domain,
    {"radio", k::integer, p::maybe},
    {"sta-mac", k::mac_any},
    {"rssi", k::integer},
    {"ssid", k::text},
    {"no-balance", k::flag},
};

const member_rule disassoc_members[] = {
    version, service, cmd, ap_mac, domain, {"radio", k::integer, p::maybe}, {"sta-mac", k::mac_any}, {"ssid", k::text},
};

const member_rule roam_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    domain,
    {"radio", k::integer, p::maybe},
    {"sta-mac", k::mac_any},
    {"ssid", k::text},
    {"target-mac", k::mac_any},
};

const message_rule rules[] = {
    {"subscribe-request", false, shape_of(subscribe_members)},
    {"unsubscribe-request", false, shape_of(farewell_members)},
    {"rrm-disassoc-all-clients", true, shape_of(farewell_members)},
    {"rrm-mode-response", false, shape_of(description_members)},
    {"rrm-config-changed", true, shape_of(description_members)},
    {"rrm-response", false, shape_of(scan_members)},
    {"rrm-probe-response", false, shape_of(probe_response_members)},
    {"rrm-client-assoc", true, shape_of(assoc_members)},
    {"rrm-client-disassoc", true, shape_of(disassoc_members)},
    {"rrm-sta-roam", true, shape_of(roam_members)},
};

}  // namespace

const shape radio_shape = shape_of(radio_members);
const shape envelope_shape = shape_of(envelope_members);

const message_rule* find_message_rule(const char* name) {
    for (const message_rule& rule : rules)
        if (std::strcmp(rule.cmd, name) == 0) return &rule;
    return nullptr;
}

const message_rule* message_rules(std::size_t& count) {
    count = sizeof rules / sizeof rules[0];
    return rules;
}

}  // namespace ravd::sim

#include <cstring>

#include "sim/service/protocol_tables.h"

namespace ravd::sim {
namespace {

using k = member_kind;
using p = presence;

// What the service sends. No version is asked for: a wrong one is an order of its own.
constexpr member_rule version = {"version", k::text};
constexpr member_rule service = {"service", k::fixed_text, p::always, nullptr, 0, "rrm"};
constexpr member_rule cmd = {"cmd", k::text};
constexpr member_rule ap_mac = {"ap-mac", k::text, p::maybe};  // agents do not look at it

const member_rule neighbour_vap_members[] = {{"ssid", k::text, p::maybe}, {"mac", k::mac_any, p::maybe}};
const shape neighbour_vap_shape = shape_of(neighbour_vap_members);
const member_rule neighbour_members[] = {
    {"neighbour-mac", k::text, p::maybe},
    {"channel", k::range, p::maybe, nullptr, 1, nullptr, 233},
    {"priority", k::range, p::maybe, nullptr, 0, nullptr, 255},
    {"vaps", k::list, p::maybe, &neighbour_vap_shape},
};
const shape neighbour_shape = shape_of(neighbour_members);

const member_rule set_radio_members[] = {
    {"id", k::integer},
    {"channel", k::range, p::maybe, nullptr, 1, nullptr, 233},
    {"bandwidth", k::width, p::maybe},
    {"primary-channel", k::one_of, p::maybe, nullptr, 0, "none lower upper"},
    {"power", k::range, p::maybe, nullptr, 1, nullptr, 100},
    {"quarn-roam-attempt-timeout", k::range, p::maybe, nullptr, 0, nullptr, 1000000},
};
const shape set_radio_shape = shape_of(set_radio_members);

constexpr member_rule use_tpc = {"use-tpc", k::flag, p::maybe};
constexpr member_rule use_dca = {"use-dca", k::flag, p::maybe};
constexpr member_rule use_80211v = {"use-80211v", k::flag, p::maybe};
constexpr member_rule use_80211r = {"use-80211r", k::flag, p::maybe};
constexpr member_rule set_radios = {"radios", k::list, p::maybe, &set_radio_shape};
constexpr member_rule neighbours = {"802dot11k", k::list, p::maybe, &neighbour_shape};

const member_rule config_members[] = {use_tpc, use_dca, use_80211v, use_80211r, set_radios, neighbours};
const shape config_shape = shape_of(config_members);
const member_rule info_members[] = {version, service,    cmd,        ap_mac,     use_tpc,
                                    use_dca, use_80211v, use_80211r, set_radios, neighbours};

const member_rule answer_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    {"status", k::one_of, p::always, nullptr, 0, "success failure"},
    {"code", k::integer, p::maybe},
    {"domain", k::text, p::maybe},
    {"config", k::object, p::maybe, &config_shape},
};

const member_rule update_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    {"rrm-scan-channels", k::text},
    {"rrm-scan-delay", k::range, p::maybe, nullptr, 0, nullptr, 1000000},
    {"quarn-rrm-scanning", k::flag, p::maybe},
};

const member_rule overload_radio_members[] = {
    {"id", k::integer},
    {"roam-count", k::range, p::always, nullptr, 1, nullptr, 1000},
};
const shape overload_radio_shape = shape_of(overload_radio_members);
const member_rule overload_members[] = {
    version, service, cmd, ap_mac, {"radios", k::list, p::always, &overload_radio_shape}, neighbours,
};

const member_rule remote_members[] = {
    {"remote-r1-kh-id", k::text}, {"remote-r0-kh-id", k::text}, {"remote-r1-kh-key", k::text}};
const shape remote_shape = shape_of(remote_members);
const member_rule holder_members[] = {
    {"vap_id", k::integer},
    {"radio_id", k::integer},
    {"mobility-domain", k::range, p::maybe, nullptr, 0, nullptr, 65535},
    {"r0-key-holder-id", k::text, p::maybe},
    {"r1-key-holder-id", k::text, p::maybe},
    {"fbt-rrb-key", k::text, p::maybe},
    {"remotes", k::list, p::maybe, &remote_shape},
};
const shape holder_shape = shape_of(holder_members);
const member_rule fbt_members[] = {
    version,
    service,
    cmd,
    ap_mac,
    {"fbt-reassoc-deadline", k::range, p::maybe, nullptr, 0, nullptr, 65535},
    {"fbt-over-ds", k::flag, p::maybe},
    {"vaps", k::list, p::always, &holder_shape},
};

const member_rule bare_members[] = {version, service, cmd, ap_mac};

const message_rule orders[] = {
    {"subscribe-response", false, shape_of(answer_members)},
    {"rrm-update", false, shape_of(update_members)},
    {"rrm-info", false, shape_of(info_members)},
    {"rrm-sta-overload", false, shape_of(overload_members)},
    {"fbt-info", false, shape_of(fbt_members)},
    {"rrm-request-mode", false, shape_of(bare_members)},
    {"rrm-blacklist", false, shape_of(bare_members)},
    {"rrm-probe-request", false, shape_of(bare_members)},
    {"rrm-disassoc-request", false, shape_of(bare_members)},
    {"rrm-client-assoc-ack", false, shape_of(bare_members)},
};

}  // namespace

std::vector<std::string> order_names() {
    std::vector<std::string> names;
    for (const message_rule& rule : orders)
        names.emplace_back(rule.cmd);
    return names;
}

const message_rule* find_order_rule(const char* name) {
    for (const message_rule& rule : orders)
        if (std::strcmp(rule.cmd, name) == 0) return &rule;
    return nullptr;
}

}  // namespace ravd::sim

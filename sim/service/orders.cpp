#include "sim/service/orders.h"

#include <cstring>

#include "sim/service/configuration.h"

namespace ravd::sim {
namespace {

using arguments = std::vector<argument>;

bool wrong(std::string& error, const std::string& text) {
    error = text;
    return false;
}

bool number(const argument& a, int low, int high, int& out, std::string& error) {
    if (parse_int(a.value, out) && out >= low && out <= high) return true;
    return wrong(error, (a.key.empty() ? std::string("argument") : a.key) + " takes a number from " +
                            std::to_string(low) + " to " + std::to_string(high) + ", not \"" + a.value + "\"");
}

constexpr int most = 2147483647;

json_ptr scan_order(order_context& context, const arguments& args, std::string& error, bool rrm) {
    std::string channels;
    int delay = 0;
    bool first = true;
    for (const argument& a : args) {
        if (a.key == "delay" || (a.key.empty() && !first)) {
            if (!number(a, -most, most, delay, error)) return nullptr;
        } else if (a.key == "channels" || a.key.empty()) {
            if (!parse_channels(a.value, channels)) {
                error = "channels are numbers below 65536 separated by commas, not \"" + a.value + "\"";
                return nullptr;
            }
        } else {
            error = "unknown argument " + a.key;
            return nullptr;
        }
        first = false;
    }
    if (rrm && channels.empty()) {
        error = "an rrm-scan needs channels; the lowest of each band is scanned";
        return nullptr;
    }
    return scan_message(context, channels, delay, rrm);
}

json_ptr build_scan(order_context& c, const arguments& a, std::string& e) { return scan_order(c, a, e, false); }
json_ptr build_rrm_scan(order_context& c, const arguments& a, std::string& e) { return scan_order(c, a, e, true); }

template <const char* const& cmd>
json_ptr build_bare(order_context& context, const arguments& args, std::string& error) {
    if (!args.empty()) {
        error = "takes no arguments";
        return nullptr;
    }
    return envelope(cmd, context.ap_mac);
}

const char* const cmd_mode = "rrm-request-mode";
const char* const cmd_blacklist = "rrm-blacklist";
const char* const cmd_probe = "rrm-probe-request";
const char* const cmd_disassoc = "rrm-disassoc-request";
const char* const cmd_assoc_ack = "rrm-client-assoc-ack";

json_ptr build_config(order_context& context, const arguments& args, std::string& error) {
    configuration settings;
    settings.use_80211v = context.use_80211v ? 1 : 0;
    if (!read_configuration(args, settings, error)) return nullptr;
    return configuration_message(context, std::move(settings));
}

json_ptr build_neighbours(order_context& context, const arguments& args, std::string& error) {
    if (args.empty()) {
        error = "needs a file, a JSON array or MAC,CHANNEL,PRIORITY,SSID=BSSID...";
        return nullptr;
    }
    configuration settings;
    settings.use_80211v = context.use_80211v ? 1 : 0;
    settings.neighbours = neighbour_list(args, error);
    return settings.neighbours ? configuration_message(context, std::move(settings)) : nullptr;
}

json_ptr build_overload(order_context& context, const arguments& args, std::string& error) {
    json_ptr message = envelope("rrm-sta-overload", context.ap_mac);
    json_ptr radios = new_json_array();
    json_ptr neighbours;
    json_object* radio = nullptr;
    unsigned position = 0;
    for (const argument& a : args) {
        int value = 0;
        if (a.key == "neighbours") {
            neighbours = neighbour_list({argument{"", a.value}}, error);
            if (!neighbours) return nullptr;
            continue;
        }
        const bool is_radio = a.key == "radio" || (a.key.empty() && position % 2 == 0);
        const bool is_count = a.key == "count" || (a.key.empty() && position % 2 == 1);
        if (!is_radio && !is_count) {
            error = "unknown argument " + a.key;
            return nullptr;
        }
        if (is_count && !radio) {
            error = "count stands before any radio";
            return nullptr;
        }
        if (!number(a, -most, most, value, error)) return nullptr;
        if (is_radio) {
            radio = json_object_new_object();
            json_object_array_add(radios.get(), radio);
        }
        json_put(radio, is_radio ? "id" : "roam-count", value);
        ++position;
    }
    if (!radio) {
        error = "needs at least one radio and count";
        return nullptr;
    }
    json_put(message.get(), "radios", std::move(radios));
    if (neighbours) json_put(message.get(), "802dot11k", std::move(neighbours));
    return message;
}

json_ptr build_fbt(order_context& context, const arguments& args, std::string& error) {
    json_ptr message = envelope("fbt-info", context.ap_mac);
    return add_fast_transition(message.get(), args, error) ? std::move(message) : nullptr;
}

json_ptr build_old_version(order_context& context, const arguments& args, std::string& error) {
    if (args.size() > 1 || (args.size() == 1 && !args[0].key.empty())) {
        error = "takes one version, as in 2.3";
        return nullptr;
    }
    json_ptr message = new_json_object();
    json_put(message.get(), "version", args.empty() ? std::string("2.3") : args[0].value);
    json_put(message.get(), "service", "rrm");
    json_put(message.get(), "cmd", cmd_mode);
    if (!context.ap_mac.empty()) json_put(message.get(), "ap-mac", context.ap_mac);
    return message;
}

json_ptr build_order(order_context& context, const arguments& args, std::string& error) {
    if (args.empty() || args.size() > 2) {
        error = "takes the name of a message and, perhaps, a JSON object with its members";
        return nullptr;
    }
    json_ptr message = envelope(args[0].value.c_str(), context.ap_mac);
    if (args.size() == 1) return message;
    json_ptr members = parse_json(args[1].value, error);
    if (!members) return nullptr;
    if (!json_object_is_type(members.get(), json_type_object)) {
        error = "the members are no JSON object";
        return nullptr;
    }
    json_object_object_foreach(members.get(), key, value)
        json_object_object_add(message.get(), key, json_object_get(value));
    return message;
}

json_ptr build_subscribe_response(order_context& context, const arguments& args, std::string& error) {
    order_context own = context;
    int code = 0;
    for (const argument& a : args) {
        if (a.key == "code") {
            if (!number(a, -most, most, code, error)) return nullptr;
        } else if (a.key == "domain") {
            own.default_domain = a.value;
        } else if (a.key == "config") {
            if (!read_inline_or_file(a.value, own.default_config, error)) return nullptr;
        } else {
            error = "takes code=, domain= and config=";
            return nullptr;
        }
    }
    return subscribe_response(own, code, error);
}

}  // namespace

json_ptr scan_message(const order_context& context, const std::string& channels, int delay, bool rrm) {
    json_ptr message = envelope("rrm-update", context.ap_mac);
    json_put(message.get(), "rrm-scan-channels", channels);
    json_put(message.get(), "rrm-scan-delay", delay);
    json_put(message.get(), "quarn-rrm-scanning", rrm ? 1 : 0);
    return message;
}

json_ptr configuration_message(order_context& context, configuration settings) {
    context.use_80211v = settings.use_80211v != 0;
    json_ptr message = envelope("rrm-info", context.ap_mac);
    put_configuration(message.get(), std::move(settings));
    return message;
}

json_ptr mode_message(const order_context& context) { return envelope(cmd_mode, context.ap_mac); }

json_ptr envelope(const char* cmd, const std::string& ap_mac) {
    json_ptr message = new_json_object();
    json_put(message.get(), "version", "2.4");
    json_put(message.get(), "service", "rrm");
    json_put(message.get(), "cmd", cmd);
    if (!ap_mac.empty()) json_put(message.get(), "ap-mac", ap_mac);
    return message;
}

json_ptr subscribe_response(const order_context& context, int code, std::string& error) {
    json_ptr message = envelope("subscribe-response", context.ap_mac);
    json_put(message.get(), "status", code == 0 ? "success" : "failure");
    if (code != 0) {
        json_put(message.get(), "code", code);
        return message;
    }
    if (!context.default_domain.empty()) json_put(message.get(), "domain", context.default_domain);
    if (!context.default_config.empty()) {
        json_ptr config = parse_json(context.default_config, error);
        if (!config) return nullptr;
        json_put(message.get(), "config", std::move(config));
    }
    return message;
}

const std::vector<order>& order_table() {
    static const std::vector<order> table = {
        {"scan", "[channels=1,6,36] [delay=N]", "active scan in five rounds (rrm-update)", build_scan},
        {"rrm-scan", "CHANNELS [delay=N]", "one RRM round; the report waits another delay", build_rrm_scan},
        {"mode", "", "ask for the description of the radios (rrm-request-mode)", build_bare<cmd_mode>},
        {"config",
         "[radio=N channel= bandwidth= primary= power= roam-timeout=]... [use-dca=] [use-tpc=] [use-80211v=] "
         "[use-80211r=] [neighbours=FILE]",
         "set radios and switches (rrm-info); channels and powers switch use-dca and use-tpc on", build_config},
        {"neighbours", "FILE|JSON|MAC,CHANNEL,PRIORITY,SSID=BSSID...", "replace the 802.11k neighbours (rrm-info)",
         build_neighbours},
        {"overload", "RADIO COUNT [RADIO COUNT]... [neighbours=FILE]", "make clients roam away (rrm-sta-overload)",
         build_overload},
        {"fbt", "FILE|JSON|[deadline=] [over-ds=] [vap=RADIO,VAP domain= r0= r1= key= remote=R1,R0,KEY...]...",
         "fast transition keys (fbt-info)", build_fbt},
        {"subscribe-response", "[code=N] [domain=NAME] [config=FILE|JSON]", "answer a subscription by hand",
         build_subscribe_response},
        {"old-version", "[VERSION]", "rrm-request-mode of version 2.3: the agent unsubscribes for good",
         build_old_version},
        {"blacklist", "", "rrm-blacklist, which agents do not support", build_bare<cmd_blacklist>},
        {"probe-request", "", "rrm-probe-request, which agents do not support", build_bare<cmd_probe>},
        {"disassoc-request", "", "rrm-disassoc-request, which agents do not support", build_bare<cmd_disassoc>},
        {"client-assoc-ack", "", "rrm-client-assoc-ack, which agents do not support", build_bare<cmd_assoc_ack>},
        {"order", "CMD [JSON]", "any message in the right envelope", build_order},
    };
    return table;
}

const order* find_order(const std::string& word) {
    for (const order& o : order_table())
        if (word == o.word) return &o;
    return nullptr;
}

}  // namespace ravd::sim

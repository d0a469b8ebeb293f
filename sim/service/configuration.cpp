#include "sim/service/configuration.h"

#include <utility>

namespace ravd::sim {
namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces(1);
    for (const char c : text)
        if (c == separator)
            pieces.emplace_back();
        else
            pieces.back() += c;
    return pieces;
}

// The JSON in a file or in the argument itself, which has to be of `type`.
json_ptr load(const std::string& where, json_type type, std::string& error) {
    std::string text;
    if (!read_inline_or_file(where, text, error)) return nullptr;
    json_ptr value = parse_json(text, error);
    if (!value) return nullptr;
    if (json_object_is_type(value.get(), type)) return value;
    error = std::string("a JSON ") + json_type_to_name(type) + " is needed";
    return nullptr;
}

bool one_neighbour(const std::string& text, json_object* list, std::string& error) {
    const std::vector<std::string> pieces = split(text, ',');
    int channel = 0;
    int priority = 0;
    if (pieces.size() < 3 || !parse_int(pieces[1], channel) || !parse_int(pieces[2], priority)) {
        error = "a neighbour is MAC,CHANNEL,PRIORITY,SSID=BSSID..., not \"" + text + "\"";
        return false;
    }
    json_ptr neighbour = new_json_object();
    json_put(neighbour.get(), "neighbour-mac", pieces[0]);
    json_put(neighbour.get(), "channel", channel);
    json_put(neighbour.get(), "priority", priority);
    json_ptr vaps = new_json_array();
    for (std::size_t i = 3; i < pieces.size(); ++i) {
        const std::size_t equals = pieces[i].rfind('=');
        if (equals == std::string::npos) {
            error = "a VAP of a neighbour is SSID=BSSID, not \"" + pieces[i] + "\"";
            return false;
        }
        json_ptr vap = new_json_object();
        json_put(vap.get(), "ssid", pieces[i].substr(0, equals));
        json_put(vap.get(), "mac", pieces[i].substr(equals + 1));
        json_append(vaps.get(), std::move(vap));
    }
    json_put(neighbour.get(), "vaps", std::move(vaps));
    json_append(list, std::move(neighbour));
    return true;
}

// An entry of "vaps" in "fbt-info", from "RADIO,VAP".
json_ptr key_holder(const std::string& text, std::string& error) {
    const std::vector<std::string> pieces = split(text, ',');
    int radio = 0;
    int vap = 0;
    if (pieces.size() != 2 || !parse_int(pieces[0], radio) || !parse_int(pieces[1], vap)) {
        error = "vap takes RADIO,VAP";
        return nullptr;
    }
    json_ptr entry = new_json_object();
    json_put(entry.get(), "vap_id", vap);
    json_put(entry.get(), "radio_id", radio);
    return entry;
}

bool add_remote(json_object* vap, const std::string& text, std::string& error) {
    const std::vector<std::string> pieces = split(text, ',');
    if (pieces.size() != 3) {
        error = "remote takes R1,R0,KEY";
        return false;
    }
    if (!json_member(vap, "remotes")) json_put(vap, "remotes", new_json_array());
    json_ptr remote = new_json_object();
    json_put(remote.get(), "remote-r1-kh-id", pieces[0]);
    json_put(remote.get(), "remote-r0-kh-id", pieces[1]);
    json_put(remote.get(), "remote-r1-kh-key", pieces[2]);
    json_append(json_member(vap, "remotes"), std::move(remote));
    return true;
}

bool set_key_holder(json_object* vap, const argument& a, std::string& error) {
    int domain = 0;
    if (a.key == "remote") return add_remote(vap, a.value, error);
    if (a.key == "domain" && parse_int(a.value, domain))
        json_put(vap, "mobility-domain", domain);
    else if (a.key == "r0" || a.key == "r1")
        json_put(vap, a.key == "r0" ? "r0-key-holder-id" : "r1-key-holder-id", a.value);
    else if (a.key == "key")
        json_put(vap, "fbt-rrb-key", a.value);
    else
        error = "unknown argument " + (a.key.empty() ? a.value : a.key);
    return error.empty();
}

void put_known(json_object* object, const char* key, int value) {
    if (value >= 0) json_put(object, key, value);
}

json_ptr radio_array(const std::vector<radio_setting>& radios) {
    json_ptr list = new_json_array();
    for (const radio_setting& radio : radios) {
        json_ptr entry = new_json_object();
        json_put(entry.get(), "id", radio.id);
        put_known(entry.get(), "channel", radio.channel);
        put_known(entry.get(), "bandwidth", radio.bandwidth);
        if (!radio.primary.empty()) json_put(entry.get(), "primary-channel", radio.primary);
        put_known(entry.get(), "power", radio.power);
        put_known(entry.get(), "quarn-roam-attempt-timeout", radio.roam_timeout);
        json_append(list.get(), std::move(entry));
    }
    return list;
}

// The number that an argument sets; null when its name is unknown. "radio=" begins the next radio.
int* setting_named(const std::string& key, configuration& out) {
    if (key == "radio") return &out.radios.emplace_back().id;
    if (key == "use-dca") return &out.use_dca;
    if (key == "use-tpc") return &out.use_tpc;
    if (key == "use-80211v") return &out.use_80211v;
    if (key == "use-80211r") return &out.use_80211r;
    if (out.radios.empty()) return nullptr;
    radio_setting& radio = out.radios.back();
    if (key == "channel") return &radio.channel;
    if (key == "bandwidth") return &radio.bandwidth;
    if (key == "power") return &radio.power;
    if (key == "roam-timeout") return &radio.roam_timeout;
    return nullptr;
}

bool read_setting(const argument& a, configuration& out, std::string& error) {
    if (a.key == "neighbours") {
        out.neighbours = neighbour_list({argument{"", a.value}}, error);
        return out.neighbours != nullptr;
    }
    if (a.key == "primary" && !out.radios.empty()) {
        out.radios.back().primary = a.value;
        return true;
    }
    if (int* value = setting_named(a.key, out)) {
        if (parse_int(a.value, *value)) return true;
        error = a.key + " takes a number, not \"" + a.value + "\"";
    } else if (a.key.empty()) {
        error = "arguments are KEY=VALUE, not \"" + a.value + "\"";
    } else {
        error = out.radios.empty() ? a.key + " is unknown, or stands before any radio=" : "unknown argument " + a.key;
    }
    return false;
}

}  // namespace

bool read_configuration(const std::vector<argument>& args, configuration& out, std::string& error) {
    for (const argument& a : args)
        if (!read_setting(a, out, error)) return false;
    for (const radio_setting& radio : out.radios) {
        if (out.use_dca < 0 && radio.channel >= 0) out.use_dca = 1;
        if (out.use_tpc < 0 && radio.power >= 0) out.use_tpc = 1;
    }
    return true;
}

void put_configuration(json_object* message, configuration settings) {
    put_known(message, "use-tpc", settings.use_tpc);
    put_known(message, "use-dca", settings.use_dca);
    json_put(message, "use-80211v", settings.use_80211v);
    put_known(message, "use-80211r", settings.use_80211r);
    if (!settings.radios.empty()) json_put(message, "radios", radio_array(settings.radios));
    if (settings.neighbours) json_put(message, "802dot11k", std::move(settings.neighbours));
}

json_ptr neighbour_list(const std::vector<argument>& args, std::string& error) {
    // "SSID=BSSID" inside of a neighbour is not a key: put the pieces together again.
    std::vector<std::string> words;
    words.reserve(args.size());
    for (const argument& a : args)
        words.push_back(a.key.empty() ? a.value : a.key + "=" + a.value);
    if (words.size() == 1 && words[0].find(',') == std::string::npos) return load(words[0], json_type_array, error);
    if (words.size() == 1 && !words[0].empty() && words[0][0] == '[') return load(words[0], json_type_array, error);
    json_ptr list = new_json_array();
    for (const std::string& word : words)
        if (!one_neighbour(word, list.get(), error)) return nullptr;
    return list;
}

bool add_fast_transition(json_object* message, const std::vector<argument>& args, std::string& error) {
    if (args.size() == 1 && args[0].key.empty()) {
        const json_ptr members = load(args[0].value, json_type_object, error);
        if (!members) return false;
        json_object_object_foreach(members.get(), key, value) json_put(message, key, json_ptr(json_object_get(value)));
        return true;
    }
    int deadline = 20000;
    int over_ds = 0;
    json_ptr vaps = new_json_array();
    json_object* vap = nullptr;
    for (const argument& a : args) {
        if (a.key == "deadline" || a.key == "over-ds") {
            if (!parse_int(a.value, a.key == "deadline" ? deadline : over_ds)) {
                error = a.key + " takes a number";
                return false;
            }
        } else if (a.key == "vap") {
            json_ptr fresh = key_holder(a.value, error);
            if (!fresh) return false;
            vap = fresh.get();
            json_append(vaps.get(), std::move(fresh));
        } else if (!vap) {
            error = (a.key.empty() ? a.value : a.key) + " is unknown, or stands before any vap=";
            return false;
        } else if (!set_key_holder(vap, a, error)) {
            return false;
        }
    }
    json_put(message, "fbt-reassoc-deadline", deadline);
    json_put(message, "fbt-over-ds", over_ds);
    json_put(message, "vaps", std::move(vaps));
    return true;
}

}  // namespace ravd::sim

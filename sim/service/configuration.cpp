#include "sim/service/configuration.h"

namespace ravd::lab {

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces(1);
    for (const char c : text) {
        if (c == separator) {
            pieces.emplace_back();
        } else {
            pieces.back() += c;
        }
    }
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
    json_ptr neighbour(json_object_new_object());
    json_put(neighbour.get(), "neighbour-mac", pieces[0]);
    json_put(neighbour.get(), "channel", channel);
    json_put(neighbour.get(), "priority", priority);
    json_ptr vaps(json_object_new_array());
    for (std::size_t i = 3; i < pieces.size(); ++i) {
        const std::size_t equals = pieces[i].rfind('=');
        if (equals == std::string::npos) {
            error = "a VAP of a neighbour is SSID=BSSID, not \"" + pieces[i] + "\"";
            return false;
        }
        json_object* vap = json_object_new_object();
        json_put(vap, "ssid", pieces[i].substr(0, equals));
        json_put(vap, "mac", pieces[i].substr(equals + 1));
        json_object_array_add(vaps.get(), vap);
    }
    json_put(neighbour.get(), "vaps", std::move(vaps));
    json_object_array_add(list, neighbour.release());
    return true;
}

}  // namespace

json_ptr radio_array(const std::vector<radio_setting>& radios) {
    json_ptr list(json_object_new_array());
    for (const radio_setting& radio : radios) {
        json_object* entry = json_object_new_object();
        json_put(entry, "id", radio.id);
        if (radio.channel >= 0) json_put(entry, "channel", radio.channel);
        if (radio.bandwidth >= 0) json_put(entry, "bandwidth", radio.bandwidth);
        if (!radio.primary.empty()) json_put(entry, "primary-channel", radio.primary);
        if (radio.power >= 0) json_put(entry, "power", radio.power);
        if (radio.roam_timeout >= 0) json_put(entry, "quarn-roam-attempt-timeout", radio.roam_timeout);
        json_object_array_add(list.get(), entry);
    }
    return list;
}

bool add_configuration(json_object* message, const std::vector<argument>& args, bool& use_80211v, std::string& error) {
    std::vector<radio_setting> radios;
    json_ptr neighbours;
    int use_dca = -1;
    int use_tpc = -1;
    int use_v = use_80211v ? 1 : 0;
    int use_r = -1;
    for (const argument& a : args) {
        if (a.key == "neighbours") {
            neighbours = neighbour_list({argument{"", a.value}}, error);
            if (!neighbours) return false;
            continue;
        }
        const struct {
            const char* key;
            int* value;
        } switches[] = {{"use-dca", &use_dca}, {"use-tpc", &use_tpc}, {"use-80211v", &use_v}, {"use-80211r", &use_r}};
        int* value = nullptr;
        for (const auto& s : switches) {
            if (a.key == s.key) value = s.value;
        }
        int id = 0;
        if (a.key == "radio") {
            radios.emplace_back();
            value = &id;
        } else if (!value && radios.empty()) {
            error = a.key.empty() ? "arguments are KEY=VALUE, not \"" + a.value + "\""
                                  : a.key + " is unknown, or stands before any radio=";
            return false;
        } else if (a.key == "primary") {
            radios.back().primary = a.value;
            continue;
        } else if (!value) {
            radio_setting& radio = radios.back();
            value = a.key == "channel"        ? &radio.channel
                    : a.key == "bandwidth"    ? &radio.bandwidth
                    : a.key == "power"        ? &radio.power
                    : a.key == "roam-timeout" ? &radio.roam_timeout
                                              : nullptr;
        }
        if (!value || !parse_int(a.value, *value)) {
            error = value ? a.key + " takes a number, not \"" + a.value + "\"" : "unknown argument " + a.key;
            return false;
        }
        if (value == &id) radios.back().id = id;
    }
    for (const radio_setting& radio : radios) {
        if (use_dca < 0 && radio.channel >= 0) use_dca = 1;
        if (use_tpc < 0 && radio.power >= 0) use_tpc = 1;
    }
    use_80211v = use_v != 0;
    if (use_tpc >= 0) json_put(message, "use-tpc", use_tpc);
    if (use_dca >= 0) json_put(message, "use-dca", use_dca);
    json_put(message, "use-80211v", use_v);
    if (use_r >= 0) json_put(message, "use-80211r", use_r);
    if (!radios.empty()) json_put(message, "radios", radio_array(radios));
    if (neighbours) json_put(message, "802dot11k", std::move(neighbours));
    return true;
}

json_ptr neighbour_list(const std::vector<argument>& args, std::string& error) {
    // "SSID=BSSID" inside of a neighbour is not a key: put the pieces together again.
    std::vector<std::string> words;
    words.reserve(args.size());
    for (const argument& a : args)
        words.push_back(a.key.empty() ? a.value : a.key + "=" + a.value);
    if (words.size() == 1 && words[0].find(',') == std::string::npos) return load(words[0], json_type_array, error);
    if (words.size() == 1 && !words[0].empty() && words[0][0] == '[') return load(words[0], json_type_array, error);
    json_ptr list(json_object_new_array());
    for (const std::string& word : words) {
        if (!one_neighbour(word, list.get(), error)) return nullptr;
    }
    return list;
}

bool add_fast_transition(json_object* message, const std::vector<argument>& args, std::string& error) {
    if (args.size() == 1 && args[0].key.empty()) {
        json_ptr members = load(args[0].value, json_type_object, error);
        if (!members) return false;
        json_object_object_foreach(members.get(), key, value) {
            json_object_object_add(message, key, json_object_get(value));
        }
        return true;
    }
    int deadline = 20000;
    int over_ds = 0;
    json_ptr vaps(json_object_new_array());
    json_object* vap = nullptr;
    for (const argument& a : args) {
        int value = 0;
        if (a.key == "deadline" || a.key == "over-ds") {
            if (!parse_int(a.value, a.key == "deadline" ? deadline : over_ds)) {
                error = a.key + " takes a number";
                return false;
            }
        } else if (a.key == "vap") {
            const std::vector<std::string> pieces = split(a.value, ',');
            int radio = 0;
            if (pieces.size() != 2 || !parse_int(pieces[0], radio) || !parse_int(pieces[1], value)) {
                error = "vap takes RADIO,VAP";
                return false;
            }
            vap = json_object_new_object();
            json_object_array_add(vaps.get(), vap);
            json_put(vap, "vap_id", value);
            json_put(vap, "radio_id", radio);
        } else if (!vap) {
            error = (a.key.empty() ? a.value : a.key) + " is unknown, or stands before any vap=";
            return false;
        } else if (a.key == "domain" && parse_int(a.value, value)) {
            json_put(vap, "mobility-domain", value);
        } else if (a.key == "r0" || a.key == "r1") {
            json_put(vap, a.key == "r0" ? "r0-key-holder-id" : "r1-key-holder-id", a.value);
        } else if (a.key == "key") {
            json_put(vap, "fbt-rrb-key", a.value);
        } else if (a.key == "remote") {
            const std::vector<std::string> pieces = split(a.value, ',');
            if (pieces.size() != 3) {
                error = "remote takes R1,R0,KEY";
                return false;
            }
            json_object* remotes = json_member(vap, "remotes");
            if (!remotes) {
                json_put(vap, "remotes", json_ptr(json_object_new_array()));
                remotes = json_member(vap, "remotes");
            }
            json_object* remote = json_object_new_object();
            json_put(remote, "remote-r1-kh-id", pieces[0]);
            json_put(remote, "remote-r0-kh-id", pieces[1]);
            json_put(remote, "remote-r1-kh-key", pieces[2]);
            json_object_array_add(remotes, remote);
        } else {
            error = "unknown argument " + (a.key.empty() ? a.value : a.key);
            return false;
        }
    }
    json_put(message, "fbt-reassoc-deadline", deadline);
    json_put(message, "fbt-over-ds", over_ds);
    json_put(message, "vaps", std::move(vaps));
    return true;
}

}  // namespace ravd::lab

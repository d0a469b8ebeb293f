#include "sim/ap/network_services.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace ravd::sim {
namespace {

std::string text_member(json_object* from, const char* key) {
    json_object* found = json_member(from, key);
    return json_object_is_type(found, json_type_string) ? json_object_get_string(found) : "";
}

json_object* tree_member(json_object* from, const char* key) {
    json_object* found = json_member(from, key);
    return json_object_is_type(found, json_type_object) ? found : nullptr;
}

bool is_setting(const std::string& key) {
    static const char* const known[] = {"auto-channel", "channel", "bandwidth", "control-sideband", "tx-power"};
    return std::find(std::begin(known), std::end(known), key) != std::end(known);
}

std::string ft_path(const std::string& vap) { return vap_config_path(vap, "vap/ft-config"); }

}  // namespace

std::string configuration_service::answer(const std::string& command, json_object* request) const {
    if (command != "get") {
        log_.line("config", "request \"%s\" is not known", command.c_str());
        return json_compact(make_answer(command, "unknown command").get());
    }
    const std::string path = text_member(request, "path");
    json_object* value = ap_.config.find(path);
    if (!value) return json_compact(make_answer(command, "not found").get());
    // Without a tree: nothing is asked for as often.
    return "{\"command\":\"get-response\",\"status\":\"ok\",\"value\":" + json_compact(value) + "}";
}

std::string network_daemon::answer(const std::string& command, json_object* request) {
    struct row {
        const char* command;
        std::string (network_daemon::*run)(json_object*);
    };
    static constexpr row rows[] = {{"update-corvane", &network_daemon::update},
                                   {"reset-corvane", &network_daemon::reset},
                                   {"update-corvane-fbt", &network_daemon::update_fbt},
                                   {"reset-corvane-fbt", &network_daemon::reset_fbt}};
    const auto found =
        std::find_if(std::begin(rows), std::end(rows), [&](const row& one) { return command == one.command; });
    const std::string reason = found == std::end(rows) ? "unknown command" : (this->*found->run)(request);
    if (!reason.empty()) log_.line("porterd", "%s refused: %s", command.c_str(), reason.c_str());
    return json_compact(make_answer(command, reason).get());
}

radio_state* network_daemon::radio_named_in(json_object* request) {
    const std::string name = text_member(request, "ifname");
    radio_state* radio = ap_.radio_of(name);
    return radio && radio->name == name ? radio : nullptr;
}

std::string network_daemon::update(json_object* request) {
    radio_state* radio = radio_named_in(request);
    json_object* params = tree_member(request, "params");
    if (!radio) return "no such radio";
    if (!params || json_object_object_length(params) == 0) return "no parameters";
    std::vector<std::pair<std::string, std::string>> settings;
    json_object_object_foreach(params, key, value) {
        if (!is_setting(key)) return std::string("unknown parameter ") + key;
        if (!json_object_is_type(value, json_type_string)) return std::string(key) + " is not a text";
        settings.emplace_back(key, json_object_get_string(value));
    }
    std::map<std::string, std::string> replaced;
    std::string told;
    for (const auto& [key_name, text] : settings) {
        const std::string path = radio_path(radio->name, key_name.c_str());
        replaced[path] = ap_.config.text(path).value_or("");
        ap_.config.set(path, text);
        told.append(" ").append(key_name).append("=").append(text);
    }
    std::string reason;
    if (!ap_.apply_radio_config(*radio, reason)) {
        for (const auto& [path, text] : replaced)
            ap_.config.set(path, text);
        std::string ignored;
        ap_.apply_radio_config(*radio, ignored);
        return reason;
    }
    before_.insert(replaced.begin(), replaced.end());
    log_.line("porterd", "%s:%s", radio->name.c_str(), told.c_str());
    changed_();
    return {};
}

std::string network_daemon::reset(json_object* request) {
    radio_state* radio = radio_named_in(request);
    if (!radio) return "no such radio";
    const std::string prefix = radio_path(radio->name, "");
    bool any = false;
    for (auto one = before_.begin(); one != before_.end();) {
        if (one->first.compare(0, prefix.size(), prefix) != 0) {
            ++one;
            continue;
        }
        any = true;
        ap_.config.set(one->first, one->second);
        one = before_.erase(one);
    }
    log_.line("porterd", "%s: settings of the service %s", radio->name.c_str(), any ? "dropped" : "are not there");
    if (!any) return {};
    std::string reason;
    ap_.apply_radio_config(*radio, reason);
    changed_();
    return reason;
}

std::string network_daemon::update_fbt(json_object* request) {
    // What is wrong is found before anything of it is applied.
    std::vector<std::pair<std::string, json_object*>> orders;
    json_object_object_foreach(request, key, settings) {
        if (std::string(key) == "command") continue;
        if (!ap_.vap_of(key)) return std::string("no such VAP: ") + key;
        json_object* wanted = tree_member(settings, "ft-config");
        if (!wanted) return std::string(key) + " has no ft-config";
        orders.emplace_back(key, wanted);
    }
    bool changed = false;
    for (const auto& [name, wanted] : orders) {
        const json_ptr fresh = copy_as_texts(wanted);
        json_object* old = ap_.config.find(ft_path(name));
        if (json_object_equal(old, fresh.get())) continue;
        changed = true;
        ap_.config.set_tree(ft_path(name), fresh.get());
        fbt_vaps_.insert(name);
        json_object* remotes = tree_member(wanted, "mac");
        log_.line("porterd", "%s: fast transition, mobility domain %s, %d remote key holders", name.c_str(),
                  ap_.config.text(ft_path(name) + "/mobility-domain").value_or("?").c_str(),
                  remotes ? json_object_object_length(remotes) : 0);
    }
    if (changed) changed_();
    return {};
}

std::string network_daemon::reset_fbt(json_object* request) {
    bool changed = false;
    json_object_object_foreach(request, name, unused) {
        (void)unused;
        if (fbt_vaps_.erase(name) == 0) continue;
        changed = true;
        const bool at_start = [&] {
            for (const radio_state& radio : ap_.radios)
                for (std::size_t v = 0; v < radio.vaps.size(); ++v)
                    if (radio.vaps[v].name == name)
                        return ap_.start.radios[static_cast<std::size_t>(&radio - ap_.radios.data())].vaps[v].ft;
            return false;
        }();
        ap_.config.remove(ft_path(name));
        ap_.config.set(ft_path(name) + "/enabled", at_start ? "true" : "false");
    }
    log_.line("porterd", "fast-transition settings of the service %s", changed ? "dropped" : "are not there");
    if (changed) changed_();
    return {};
}

std::string client_event_text(const client_event& event) {
    json_ptr body = new_json_object();
    json_put(body.get(), "type", event.type);
    json_put(body.get(), "dev", event.dev);
    json_put(body.get(), "mac", event.mac);
    json_put(body.get(), "ssid", event.ssid);
    json_put(body.get(), "rssi", event.rssi);
    json_ptr client = new_json_object();
    json_put(client.get(), "using-802.11v", event.v ? "yes" : "no");
    json_put(body.get(), "client-info", std::move(client));
    if (!event.target_mac.empty()) json_put(body.get(), "target-mac", event.target_mac);
    const json_ptr message = new_json_object();
    json_put(message.get(), "command", "wifi-client-trap");
    json_put(message.get(), "event", std::move(body));
    return json_compact(message.get());
}

}  // namespace ravd::sim

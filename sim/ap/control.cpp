#include "sim/ap/control.h"

#include <algorithm>
#include <sstream>

#include "platform/monotonic.h"
#include "sim/common/completion.h"
#include "sim/common/json.h"
#include "sim/common/text.h"
#include "tools/common/number.h"

namespace ravd::sim {
namespace {

std::string ok(const std::string& text = {}) { return text.empty() ? "ok" : "ok " + text; }
std::string error(const std::string& reason) { return "error " + reason; }
// Empty: it worked.
std::string outcome(const std::string& reason) { return reason.empty() ? ok() : error(reason); }

// Events of a station that leaves.
bool is_leaving_event(const std::string& name) {
    static const char* const known[] = {"recv-disassoc", "recv-deauth", "send-disassoc", "send-deauth",
                                        "reassoc",       "auth-fail",   "8021x-fail"};
    return std::find(std::begin(known), std::end(known), name) != std::end(known);
}

}  // namespace

const std::vector<control::command>& control::commands() {
    static const std::vector<command> table = {
        {"hostapd", "start | stop | restart [MILLISECONDS]", "hostapd's life; a restart pauses for 1000 ms",
         &control::run_hostapd},
        {"station", "join MAC VAP [RSSI] [no-v] [stays] | leave MAC [EVENT] | roam MAC BSSID | move MAC X Y FLOOR",
         "a station comes, goes or moves", &control::run_station},
        {"radio", "0|1 up|down | 0|1 coex on|off", "an interface, and 20/40 MHz coexistence", &control::run_radio},
        {"config", "set PATH TEXT | get PATH | remove PATH", "settings, as an administrator changes them",
         &control::run_config},
        {"fault", "TARGET KIND [VALUE] [on IFNAME] [times N] | list | clear [TARGET]",
         "makes a call of the driver, iwpriv, wpa_cli, config or porterd go wrong", &control::run_fault},
        {"notify", "hostapd_started | scoutd_started | config_updated | timezone_changed", "raises a notification",
         &control::run_notify},
        {"show", "state | stations | neighbours | air [--json]", "what there is, for people; with --json on one line",
         &control::run_show},
        {"help", "[COMMAND]", "this list, or one command of it", &control::run_help},
        {"quit", "", "ends the access point", &control::run_quit},
    };
    return table;
}

const control::command* control::find(const std::string& word) {
    for (const command& one : commands())
        if (word == one.word) return &one;
    return nullptr;
}

std::string control::run(const std::string& line) {
    words given;
    std::string_view rest = line;
    const std::string verb(take_word(rest));
    // A setting's text is taken as it stands.
    if (verb == "config")
        given = {verb, std::string(rest)};
    else if (!split_words(line, given))
        return error("a quote or bracket is not closed");
    if (given.empty()) return error("an empty line");
    if (const command* known = find(verb)) return (this->*known->run)(given);
    return unknown(verb);
}

std::vector<std::string> control::what_fits(const std::string& before) const {
    words typed;
    std::istringstream rest(before);
    for (std::string word; rest >> word;)
        typed.push_back(word);
    if (typed.empty()) return command_words();
    const command* known = find(typed.front());
    typed.erase(typed.begin());
    return known ? completions(known->usage, typed, "", [this](const std::string& kind) { return things_of(kind); })
                 : words();
}

control::words control::things_of(const std::string& kind) const {
    words found;
    if (kind == "COMMAND") return command_words();
    if (kind == "TARGET") return {"any", "iwpriv", "wpa_cli", "config", "porterd"};
    if (kind == "KIND") return {"hang", "fail", "late", "count", "length", "garbage", "silent", "empty", "dead"};
    for (const radio_state& radio : used_.ap.radios) {
        if (kind == "IFNAME") found.push_back(radio.name);
        for (const vap_state& vap : radio.vaps) {
            if (kind == "VAP" || kind == "IFNAME") found.push_back(vap.name);
            for (const station& one : vap.stations)
                if (kind == "MAC") found.push_back(mac_text(one.is.mac));
        }
    }
    return found;
}

std::vector<std::string> control::command_words() {
    std::vector<std::string> all;
    for (const command& one : commands())
        all.push_back(one.word);
    return all;
}

std::string control::unknown(const std::string& verb) {
    const std::vector<std::string> names = command_words();
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ", ") + name;
    const std::string meant = nearest(verb, names);
    return error("unknown command \"" + verb + "\"; " +
                 (meant.empty() ? "there are " + list : "did you mean " + meant + "?"));
}

std::string control::expected(const words& given) {
    return error("expected: " + given[0] + " " + find(given[0])->usage);
}

std::string control::run_help(const words& given) {
    const command* only = given.size() > 1 ? find(given[1]) : nullptr;
    if (given.size() > 1 && !only) return unknown(given[1]);
    std::string text;
    for (const command& one : commands())
        if (!only || only == &one)
            text += std::string("  ") + one.word + " " + one.usage + "\n        " + one.help + "\n";
    return text + ok();
}

std::string control::run_hostapd(const words& given) {
    const std::string what = given.size() > 1 ? given[1] : "";
    int pause_ms = 1000;
    if (what == "restart" && given.size() == 3 && parse_number(given[2], 0, 3600000, pause_ms))
        return outcome(used_.daemon.restart(pause_ms));
    if (given.size() == 2 && what == "start") return outcome(used_.daemon.start());
    if (given.size() == 2 && what == "stop") return outcome(used_.daemon.stop());
    if (given.size() == 2 && what == "restart") return outcome(used_.daemon.restart(pause_ms));
    return expected(given);
}

std::string control::run_station(const words& given) {
    const std::string what = given.size() > 1 ? given[1] : "";
    const auto mac = given.size() > 2 ? parse_mac(given[2]) : std::nullopt;
    if (given.size() > 2 && !mac) return error("\"" + given[2] + "\" is not a hardware address");
    if (what == "join" && given.size() >= 4) {
        scenario_station who;
        who.mac = *mac;
        if (const auto known = used_.stations.find(*mac); known.one) who = known.one->is;
        for (std::size_t i = 4; i < given.size(); ++i) {
            if (given[i] == "no-v")
                who.v = false;
            else if (given[i] == "stays")
                who.obeys = false;
            else if (!parse_number(given[i], -100, -10, who.rssi))
                return error("\"" + given[i] + "\" is no signal strength from -100 to -10, no-v or stays");
        }
        return outcome(used_.stations.join(given[3], who));
    }
    if (what == "leave" && (given.size() == 3 || given.size() == 4)) {
        const std::string event = given.size() == 4 ? given[3] : "recv-disassoc";
        if (!is_leaving_event(event)) return error("\"" + event + "\" is no event of a station that leaves");
        return outcome(used_.stations.leave(*mac, event));
    }
    if (what == "roam" && given.size() == 4) {
        const auto target = parse_mac(given[3]);
        if (!target) return error("\"" + given[3] + "\" is not a hardware address");
        if (used_.near.ask(*mac, {*target}, monotonic_ms())) return ok();
        return outcome(used_.stations.roam(*mac, *target));
    }
    if (what == "move" && given.size() == 6) return move_station(given, *mac);
    return expected(given);
}

std::string control::move_station(const words& given, const mac_octets& mac) {
    place where;
    int x = 0;
    int y = 0;
    const int limit = static_cast<int>(place_limit);
    if (!parse_number(given[3], -limit, limit, x) || !parse_number(given[4], -limit, limit, y) ||
        !parse_number(given[5], -floor_limit, floor_limit, where.floor))
        return expected(given);
    where.x = x;
    where.y = y;
    return outcome(used_.near.move(mac, where, monotonic_ms()));
}

std::string control::run_radio(const words& given) {
    int number = 0;
    if (given.size() < 3 || !parse_number(given[1], 0, radio_count - 1, number)) return expected(given);
    radio_state& radio = used_.ap.radios[static_cast<std::size_t>(number)];
    if (given.size() == 3 && (given[2] == "up" || given[2] == "down")) {
        used_.daemon.set_radio(radio, given[2] == "up");
        return ok();
    }
    if (given.size() == 4 && given[2] == "coex" && (given[3] == "on" || given[3] == "off")) {
        radio.coex = given[3] == "on";
        used_.files.refresh();
        return ok();
    }
    return expected(given);
}

std::string control::run_config(const words& given) {
    std::string_view rest = given[1];
    const std::string what(take_word(rest));
    const std::string path(take_word(rest));
    config_store& config = used_.ap.config;
    if (what == "set" && !path.empty()) return set_config(path, std::string(rest));
    const bool known = (what == "get" || what == "remove") && !path.empty() && trimmed(rest).empty();
    if (!known) return expected(given);
    json_object* value = config.find(path);
    if (!value) return error(path + " is not configured");
    if (what == "get") return ok(json_compact(value));
    config.remove(path);
    config_changed_();
    return ok();
}

std::string control::set_config(const std::string& path, const std::string& text) {
    if (!used_.ap.config.set(path, text)) return error("no setting can lie at " + path);
    std::string reason;
    for (radio_state& radio : used_.ap.radios)
        if (path.compare(0, radio_path(radio.name, "").size(), radio_path(radio.name, "")) == 0)
            used_.ap.apply_radio_config(radio, reason);
    config_changed_();
    return ok(reason.empty() ? "" : "but the radio cannot do it: " + reason);
}

std::string control::run_fault(const words& given) {
    if (given.size() == 2 && given[1] == "list") return ok(used_.faults.text());
    if (given.size() >= 2 && given.size() <= 3 && given[1] == "clear") {
        const int count = used_.faults.clear(given.size() == 3 ? given[2] : "");
        faults_changed_();
        return ok(std::to_string(count) + " cleared");
    }
    fault one;
    std::string reason;
    if (!parse_fault(words(given.begin() + 1, given.end()), one, reason)) return error(reason);
    used_.faults.add(one);
    faults_changed_();
    return ok();
}

std::string control::run_notify(const words& given) {
    static const char* const known[] = {"hostapd_started", "scoutd_started", "config_updated", "timezone_changed"};
    if (given.size() == 2)
        for (const char* name : known)
            if (given[1] == name) return used_.files.notify(name), ok();
    return expected(given);
}

std::string control::run_show(const words& given) {
    const bool json = given.size() == 3 && given[2] == "--json";
    const std::string what = json || given.size() == 2 ? given[1] : "";
    const bool subscribed = used_.files.agent_connected();
    if (what == "state")
        return json ? ok(state_text(used_.ap, subscribed)) : state_view(used_.ap, subscribed) + "\n" + ok();
    if (what == "stations")
        return json ? ok(stations_text(used_.ap, used_.stations))
                    : stations_view(used_.ap, used_.stations) + "\n" + ok();
    if (what == "neighbours") return json ? ok(neighbours_text(used_.ap)) : neighbours_view(used_.ap) + "\n" + ok();
    if (what == "air")
        return json ? ok(air_text(used_.ap, used_.near.others()))
                    : air_view(used_.ap, used_.near.others()) + "\n" + ok();
    return expected(given);
}

std::string control::run_quit(const words& given) {
    if (given.size() != 1) return error("quit stands alone");
    // After the answer has gone out.
    used_.loop.after(50, [this] { used_.loop.stop(); });
    return ok();
}

}  // namespace ravd::sim

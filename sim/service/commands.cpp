#include "sim/service/commands.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "sim/service/arguments.h"
#include "sim/service/lab.h"
#include "sim/service/presentation.h"

namespace ravd::lab {

namespace {

struct command_call {
    lab& service;
    agent* who;  // null for commands that need none
    const command_line& line;
    line_result& result;

    bool fail(const std::string& why) const {
        result.good = false;
        result.reply = why;
        return false;
    }
    void add(const std::string& text) const {
        if (!result.reply.empty() && result.reply.back() != '\n') result.reply += '\n';
        result.reply += text;
    }
    bool send(outgoing item, const std::string& shown) const {
        return service.send_bytes(*who, std::move(item), shown) ||
               fail(who->name() + ": the link is gone or too much output waits");
    }
    // Argument `index` as a number from `low` to `high`; `fallback` when it is not there.
    bool number(std::size_t index, int low, int high, int fallback, int& out) const {
        out = fallback;
        if (index >= line.args.size()) return true;
        if (parse_int(line.args[index].value, out) && out >= low && out <= high) return true;
        return fail("a number from " + std::to_string(low) + " to " + std::to_string(high) + " is needed, not \"" +
                    line.args[index].value + "\"");
    }
    std::string word(std::size_t index) const { return index < line.args.size() ? line.args[index].value : ""; }
};

using kind = outgoing::kind;

bool do_text(const command_call& c) { return c.send({kind::text, c.line.rest}, c.line.rest); }
bool do_binary(const command_call& c) {
    std::string bytes;
    if (!parse_hex(c.line.rest, bytes)) return c.fail("binary takes hexadecimal digits in pairs");
    return c.send({kind::binary, bytes}, "binary frame of " + std::to_string(bytes.size()) + " bytes");
}
bool do_raw(const command_call& c) {
    std::string bytes;
    if (!parse_hex(c.line.rest, bytes)) return c.fail("raw takes hexadecimal digits in pairs");
    return c.send({kind::raw, bytes}, std::to_string(bytes.size()) + " bytes on the socket");
}
bool do_fragments(const command_call& c) {
    const std::string& rest = c.line.rest;
    const std::size_t blank = std::min(rest.find(' '), rest.size());
    int count = 0;
    if (!parse_int(rest.substr(0, blank), count) || count < 1 || count > 100000) {
        return c.fail("fragments takes a number from 1 to 100000 and a text");
    }
    const std::string text = blank < rest.size() ? rest.substr(blank + 1) : "";
    const auto pieces = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < pieces; ++i) {
        const std::size_t from = text.size() * i / pieces;
        const std::size_t to = text.size() * (i + 1) / pieces;
        const kind what = pieces == 1 ? kind::text : i == 0 ? kind::first : i + 1 == pieces ? kind::last : kind::middle;
        if (!c.send({what, text.substr(from, to - from)}, i == 0 ? rest + " (in fragments)" : "")) return false;
    }
    return true;
}
bool do_ping(const command_call& c) { return c.send({kind::ping, c.word(0).substr(0, 125)}, "ping"); }
bool do_close(const command_call& c) {
    outgoing item;
    item.what = kind::close;
    int code = 0;
    if (!c.number(0, 0, 65535, 1000, code)) return false;
    item.close_code = static_cast<unsigned>(code);
    item.bytes = c.word(1);
    return c.send(std::move(item), "close frame with code " + std::to_string(code));
}
bool do_drop(const command_call& c) {
    return c.service.links().drop(c.who->number) || c.fail(c.who->name() + ": the link is gone");
}
bool do_mute(const command_call& c) { return c.service.links().set_mute(c.who->number, true); }
bool do_unmute(const command_call& c) { return c.service.links().set_mute(c.who->number, false); }
bool do_stop_reading(const command_call& c) { return c.service.links().set_reading(c.who->number, false); }
bool do_resume(const command_call& c) {
    c.service.links().set_mute(c.who->number, false);
    return c.service.links().set_reading(c.who->number, true);
}

bool do_send_many(const command_call& c) {
    int count = 0;
    int size = 0;
    if (!c.number(0, 1, 1000000, 1, count) || !c.number(1, 0, 16 << 20, 0, size)) return false;
    for (int i = 0; i < count; ++i) {
        std::string text =
            "{\"version\":\"2.4\",\"service\":\"bench\",\"number\":" + std::to_string(i) + ",\"fill\":\"";
        if (text.size() + 2 < static_cast<std::size_t>(size))
            text.append(static_cast<std::size_t>(size) - text.size() - 2, 'x');
        text += "\"}";
        if (!c.send({kind::text, text}, "")) {
            return c.fail("only " + std::to_string(i) + " of " + std::to_string(count) + " fit into the output limit");
        }
    }
    return true;
}

bool do_stats(const command_call& c) {
    link_statistics s;
    if (!c.service.links().statistics(c.who->number, s)) return c.fail(c.who->name() + ": the link is gone");
    c.add(c.who->name() + ": in " + std::to_string(s.messages_in) + " messages " + std::to_string(s.payload_in) +
          " bytes, out " + std::to_string(s.messages_out) + " messages " + std::to_string(s.payload_out) +
          " bytes, queued " + std::to_string(s.queued) + ", wire in " + std::to_string(s.wire_in) + " out " +
          std::to_string(s.wire_out) + ", pings " + std::to_string(s.pings) + ", pongs " + std::to_string(s.pongs) +
          (s.mute ? ", mute" : "") + (s.reading ? "" : ", not reading") + ", violations " +
          std::to_string(c.who->violations));
    for (const auto& entry : c.who->received)
        c.add("  " + entry.first + " " + std::to_string(entry.second));
    return true;
}

bool do_show(const command_call& c) {
    const std::string what = c.word(0);
    const bool all = what.empty();
    if (all || what == "radios") c.add(radio_table(c.who->radios));
    if (all || what == "neighbours") c.add(environment_table(c.who->environment));
    if (all || what == "clients") c.add(client_table(c.who->radios));
    if (all || what == "chart") c.add(occupancy_chart(c.who->radios, c.who->environment));
    if (c.result.reply.empty()) return c.fail("show takes radios, neighbours, clients or chart");
    return true;
}

bool do_agents(const command_call& c) {
    if (c.service.agents().empty()) c.add("no agents");
    for (const auto& entry : c.service.agents()) {
        const agent& a = entry.second;
        c.add(a.name() + " from " + a.peer + " " + a.sub_protocol + " " + a.path +
              (a.subscribed ? " subscribed" : " not subscribed") + (a.domain.empty() ? "" : " domain " + a.domain) +
              (a.violations ? " violations " + std::to_string(a.violations) : ""));
    }
    return true;
}
bool do_accept(const command_call& c) {
    c.service.policy() = subscription_policy();
    return true;
}
bool do_refuse(const command_call& c) {
    subscription_policy policy;
    if (!c.number(0, -2147483647, 2147483647, 503, policy.refuse_code)) return false;
    if (policy.refuse_code == 0) return c.fail("code 0 is no refusal");
    policy.refuse_once = c.word(1) != "always";
    c.service.policy() = policy;
    return true;
}
bool do_silent(const command_call& c) {
    c.service.policy() = subscription_policy();
    c.service.policy().silent = true;
    return true;
}
bool do_domain(const command_call& c) {
    c.service.settings().domain = c.word(0);
    return true;
}
bool do_config_object(const command_call& c) {
    std::string text;
    std::string error;
    if (!c.word(0).empty() && !read_inline_or_file(c.word(0), text, error)) return c.fail(error);
    if (!text.empty() && !parse_json(text, error)) return c.fail(error);
    c.service.settings().config = text;
    return true;
}
bool do_violations(const command_call& c) {
    c.add(std::to_string(c.service.violations()) + " violations");
    return true;
}
bool do_wait(const command_call& c) {
    int seconds = 0;
    if (c.line.args.empty()) return c.fail("wait takes an event and perhaps seconds");
    if (!c.number(1, 0, 1000000, 60, seconds)) return false;
    c.result.wait.event = c.word(0);
    if (c.line.to == target::one && c.who) c.result.wait.agent = c.who->number;
    c.result.wait.seconds = seconds;
    c.result.wait.active = true;
    return true;
}
bool do_sleep(const command_call& c) {
    int milliseconds = 0;
    if (!c.number(0, 0, 1000000000, 1000, milliseconds)) return false;
    c.result.wait.seconds = milliseconds / 1000.0;
    c.result.wait.active = true;
    return true;
}
bool do_quit(const command_call& c) {
    int status = 0;
    if (!c.number(0, 0, 255, 0, status)) return false;
    c.service.quit(status);
    return true;
}
bool do_help(const command_call& c);

struct command {
    const char* word;
    const char* usage;
    const char* help;
    bool needs_agent;
    bool (*run)(const command_call&);
};

const command table[] = {
    {"text", "TEXT", "one text message, as typed; a line that begins with { or [ means the same", true, do_text},
    {"binary", "HEX", "one binary message", true, do_binary},
    {"fragments", "N TEXT", "one text message in N fragments", true, do_fragments},
    {"raw", "HEX", "bytes on the socket, between two frames", true, do_raw},
    {"ping", "[TEXT]", "a websocket ping", true, do_ping},
    {"close", "[CODE [REASON]]", "a close frame, and the end of the connection", true, do_close},
    {"drop", "", "a reset of the connection", true, do_drop},
    {"mute", "", "stop answering pings; messages still pass", true, do_mute},
    {"unmute", "", "answer pings again", true, do_unmute},
    {"stop-reading", "", "read nothing from the agent any more", true, do_stop_reading},
    {"resume", "", "read again and answer pings again", true, do_resume},
    {"send-many", "N SIZE", "N numbered messages of SIZE bytes", true, do_send_many},
    {"stats", "", "counts of the link and of the messages received", true, do_stats},
    {"show", "[radios|neighbours|clients|chart]", "what the agent reported last", true, do_show},
    {"agents", "", "who is connected", false, do_agents},
    {"accept", "", "answer subscriptions with success", false, do_accept},
    {"refuse", "[CODE [always]]", "refuse the next subscription, or all, with this code (503)", false, do_refuse},
    {"silent", "", "do not answer subscriptions", false, do_silent},
    {"domain", "[NAME]", "domain of the following subscription answers", false, do_domain},
    {"config-object", "[FILE|JSON]", "configuration object of the following subscription answers", false,
     do_config_object},
    {"violations", "", "how many violations of the protocol were seen", false, do_violations},
    {"wait", "EVENT [SECONDS]",
     "go on when a message of that name arrives, or \"connected\", \"subscribed\", \"closed\", \"verified\" (60)",
     false, do_wait},
    {"sleep", "MILLISECONDS", "go on after that time", false, do_sleep},
    {"help", "", "this list", false, do_help},
    {"quit", "[STATUS]", "end the service", false, do_quit},
};

bool do_help(const command_call& c) {
    const auto line = [&](const char* word, const char* usage, const char* help) {
        c.add(std::string("  ") + word + (*usage ? " " : "") + usage + "\n        " + help);
    };
    c.add("[agent N|agent MAC|all] COMMAND...; without an agent the newest is meant");
    c.add("Orders of the protocol:");
    for (const order& o : order_table())
        line(o.word, o.usage, o.help);
    c.add("The link and the service:");
    for (const command& entry : table)
        line(entry.word, entry.usage, entry.help);
    return true;
}

bool same_mac(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

// The agents a line is for; an error text when there are none.
std::string select(lab& service, const command_line& line, std::vector<agent*>& out) {
    auto& agents = service.agents();
    if (agents.empty()) return "no agent is connected";
    if (line.to == target::newest) {
        out.push_back(&agents.rbegin()->second);
        return "";
    }
    int number = 0;
    const bool numeric = line.to == target::one && parse_int(line.selector, number);
    for (auto& entry : agents) {
        if (line.to == target::all ||
            (numeric ? static_cast<int>(entry.first) == number : same_mac(entry.second.orders.ap_mac, line.selector))) {
            out.push_back(&entry.second);
        }
    }
    return out.empty() ? "there is no agent " + line.selector : "";
}

void run_order(lab& service, const order& o, const command_line& line, agent& who, line_result& result) {
    std::string error;
    const json_ptr message = o.build(who.orders, line.args, error);
    if (!message) {
        result.good = false;
        result.reply = std::string(o.word) + ": " + error;
    } else if (!service.send_message(who, message.get())) {
        result.good = false;
        result.reply = who.name() + ": the link is gone or too much output waits";
    }
}

}  // namespace

line_result run_command(lab& service, const std::string& text) {
    line_result result;
    command_line line;
    if (!parse_command_line(text, line, result.reply)) {
        result.good = false;
        return result;
    }
    if (line.word.empty()) return result;
    const order* o = find_order(line.word);
    const auto* entry =
        std::find_if(std::begin(table), std::end(table), [&](const command& c) { return line.word == c.word; });
    const bool known = o || entry != std::end(table);
    if (!known) {
        result.good = false;
        result.reply = "unknown command " + printable(line.word, 40) + "; try help";
        return result;
    }
    std::vector<agent*> targets;
    const bool needs_agent = o || entry->needs_agent;
    const std::string problem = select(service, line, targets);
    if (!problem.empty() && (needs_agent || line.to == target::one)) {
        result.good = false;
        result.reply = problem;
        return result;
    }
    if (!needs_agent) {
        entry->run({service, line.to == target::one ? targets[0] : nullptr, line, result});
        return result;
    }
    for (agent* who : targets) {
        if (o) {
            run_order(service, *o, line, *who, result);
        } else {
            entry->run({service, who, line, result});
        }
        if (!result.good) break;
    }
    return result;
}

}  // namespace ravd::lab

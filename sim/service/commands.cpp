#include "sim/service/commands.h"

#include <strings.h>

#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "sim/common/completion.h"
#include "sim/common/text.h"
#include "sim/service/command_table.h"
#include "sim/service/order_check.h"
#include "sim/service/plan_desk.h"
#include "sim/service/protocol_tables.h"

namespace ravd::sim {
namespace {

const command* find_command(const std::string& word) {
    for (const auto* table : {&link_commands(), &service_commands()})
        for (const command& entry : *table)
            if (word == entry.word) return &entry;
    return nullptr;
}

std::string help_line(const char* word, const char* usage, const char* help) {
    return std::string("  ") + word + (*usage ? " " : "") + usage + "\n        " + help;
}

constexpr const char* help_usage = "[COMMAND]";
constexpr const char* help_help = "this list, or one command of it";

std::string help_text() {
    std::string text =
        "[agent N|agent MAC|all] [unchecked] COMMAND...; without an agent the newest is meant. Orders are checked\n"
        "against the protocol and the agent's radios first, unless they are \"unchecked\".\n"
        "Orders of the protocol:\n";
    for (const order& o : order_table())
        text += help_line(o.word, o.usage, o.help) + "\n";
    text += "The link and the service:\n";
    for (const auto* table : {&link_commands(), &service_commands()})
        for (const command& entry : *table)
            text += help_line(entry.word, entry.usage, entry.help) + "\n";
    return text + help_line("help", help_usage, help_help);
}

line_result unknown_command(const std::string& word) {
    const std::string meant = nearest(word, command_words());
    line_result result;
    result.good = false;
    result.reply = "unknown command " + printable(word, 40) + "; try " + (meant.empty() ? "help" : meant);
    return result;
}

line_result help(const std::string& word) {
    line_result result;
    const order* o = find_order(word);
    const command* entry = find_command(word);
    if (word.empty())
        result.reply = help_text();
    else if (word == "help")
        result.reply = help_line("help", help_usage, help_help);
    else if (o)
        result.reply = help_line(o->word, o->usage, o->help);
    else if (entry)
        result.reply = help_line(entry->word, entry->usage, entry->help);
    else
        return unknown_command(word);
    return result;
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
    for (auto& entry : agents)
        if (line.to == target::all ||
            (numeric ? static_cast<int>(entry.first) == number : same_mac(entry.second.orders.ap_mac, line.selector)))
            out.push_back(&entry.second);
    return out.empty() ? "there is no agent " + line.selector : "";
}

void run_order(lab& service, const order& o, const command_line& line, agent& who, line_result& result) {
    const command_call call = {service, &who, line, result};
    std::string error;
    const json_ptr message = o.build(who.orders, line.args, error);
    if (!message) {
        call.fail(std::string(o.word) + ": " + error);
        return;
    }
    const order_judgement verdict = line.unchecked ? order_judgement() : judge_order(message.get(), who.radios);
    if (!verdict.fault.empty())
        call.fail(std::string(o.word) + ": " + verdict.fault + "; \"unchecked\" before it sends it all the same");
    else if (!service.send_message(who, message))
        call.fail(who.name() + ": the link is gone or too much output waits");
    else
        for (const std::string& warning : verdict.warnings)
            call.add("warning: " + warning);
}

std::vector<std::string> things_of(lab& service, const std::vector<agent*>& agents, const std::string& kind) {
    static const std::map<std::string, std::vector<std::string>> fixed = {{"bandwidth=", {"20", "40", "80"}},
                                                                          {"primary=", {"none", "lower", "upper"}},
                                                                          {"use-dca=", {"0", "1"}},
                                                                          {"use-tpc=", {"0", "1"}},
                                                                          {"use-80211v=", {"0", "1"}},
                                                                          {"use-80211r=", {"0", "1"}},
                                                                          {"over-ds=", {"0", "1"}}};
    if (kind == "COMMAND") return command_words();
    if (kind == "CMD") return order_names();
    if (kind == "EVENT") return waitable_events();
    const auto known = fixed.find(kind);
    if (known != fixed.end()) return known->second;
    std::set<std::string> found;
    if (kind == "agent")
        for (const auto& [number, one] : service.agents()) {
            found.insert(std::to_string(number));
            if (!one.orders.ap_mac.empty()) found.insert(one.orders.ap_mac);
        }
    const bool channels = kind == "CHANNELS" || kind == "channels=" || kind == "channel=";
    for (const agent* who : agents)
        for (const radio_view& radio : who->radios) {
            if (kind == "RADIO" || kind == "radio=") found.insert(std::to_string(radio.id));
            for (const int channel : radio.available)
                if (channels) found.insert(std::to_string(channel));
        }
    return {found.begin(), found.end()};
}

}  // namespace

std::vector<std::string> command_words() {
    std::vector<std::string> words = {"help", "agent", "all", "unchecked"};
    for (const order& o : order_table())
        words.push_back(o.word);
    for (const auto* table : {&link_commands(), &service_commands()})
        for (const command& entry : *table)
            words.push_back(entry.word);
    return words;
}

std::vector<std::string> what_fits(lab& service, const std::string& before) {
    std::vector<std::string> words;
    std::istringstream typed(before);
    for (std::string word; typed >> word;)
        words.push_back(word);
    const std::string key = !before.empty() && before.back() == '=' ? words.back() : "";
    if (!key.empty()) words.pop_back();
    command_line line;
    std::size_t at = 0;
    for (; at < words.size(); ++at) {
        if (words[at] == "agent") {
            line.to = target::one;
            if (++at == words.size()) return things_of(service, {}, "agent");
            line.selector = words[at];
        } else if (words[at] == "all") {
            line.to = target::all;
        } else if (words[at] != "unchecked") {
            break;
        }
    }
    if (at == words.size()) return command_words();
    const std::string word = words[at];
    std::vector<agent*> agents;
    (void)select(service, line, agents);
    const order* o = find_order(word);
    const command* entry = find_command(word);
    const char* usage = o ? o->usage : entry ? entry->usage : word == "help" ? help_usage : "";
    words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(at) + 1);
    const auto things = [&](const std::string& kind) { return things_of(service, agents, kind); };
    return completions(usage, words, key, things);
}

line_result run_command(lab& service, const std::string& text) {
    line_result result;
    command_line line;
    if (!parse_command_line(text, line, result.reply)) {
        result.good = false;
        return result;
    }
    if (line.word.empty()) return result;
    if (line.word == "help") return help(line.args.empty() ? "" : line.args[0].value);
    const order* o = find_order(line.word);
    const command* entry = find_command(line.word);
    if (!o && !entry) return unknown_command(line.word);
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
        if (o)
            run_order(service, *o, line, *who, result);
        else
            entry->run({service, who, line, result});
        if (!result.good) break;
    }
    return result;
}

}  // namespace ravd::sim

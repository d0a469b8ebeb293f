#include "sim/service/commands.h"

#include <strings.h>

#include <vector>

#include "sim/common/text.h"
#include "sim/service/command_table.h"

namespace ravd::sim {
namespace {

const command* find_command(const std::string& word) {
    for (const auto* table : {&link_commands(), &service_commands()})
        for (const command& entry : *table)
            if (word == entry.word) return &entry;
    return nullptr;
}

std::string help_text() {
    std::string text = "[agent N|agent MAC|all] COMMAND...; without an agent the newest is meant";
    const auto line = [&](const char* word, const char* usage, const char* help) {
        text += std::string("\n  ") + word + (*usage ? " " : "") + usage + "\n        " + help;
    };
    text += "\nOrders of the protocol:";
    for (const order& o : order_table())
        line(o.word, o.usage, o.help);
    text += "\nThe link and the service:";
    for (const auto* table : {&link_commands(), &service_commands()})
        for (const command& entry : *table)
            line(entry.word, entry.usage, entry.help);
    line("help", "", "this list");
    return text;
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
    std::string error;
    const json_ptr message = o.build(who.orders, line.args, error);
    if (!message) {
        result.good = false;
        result.reply = std::string(o.word) + ": " + error;
    } else if (!service.send_message(who, message)) {
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
    if (line.word == "help") {
        result.reply = help_text();
        return result;
    }
    const order* o = find_order(line.word);
    const command* entry = find_command(line.word);
    if (!o && !entry) {
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
        if (o)
            run_order(service, *o, line, *who, result);
        else
            entry->run({service, who, line, result});
        if (!result.good) break;
    }
    return result;
}

}  // namespace ravd::sim

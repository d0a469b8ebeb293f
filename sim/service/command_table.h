// What a command is: a row of a table, and the call that carries one out.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "sim/service/arguments.h"
#include "sim/service/lab.h"

namespace ravd::sim {

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
    bool send(outgoing item, const std::string& shown, json_object* message = nullptr) const {
        return service.send_bytes(*who, std::move(item), shown, message) ||
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

struct command {
    const char* word;
    const char* usage;
    const char* help;
    bool needs_agent;
    bool (*run)(const command_call&);
};

// What is done to one agent's link; what concerns the service itself.
const std::vector<command>& link_commands();
const std::vector<command>& service_commands();
// What a line can wait for.
std::vector<std::string> waitable_events();

}  // namespace ravd::sim

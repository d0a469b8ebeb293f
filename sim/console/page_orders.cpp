#include "sim/console/page_orders.h"

#include <algorithm>

#include "sim/common/text.h"
#include "sim/console/command_list.h"
#include "sim/service/command_table.h"
#include "sim/service/commands.h"
#include "sim/service/order_check.h"

namespace ravd::sim {
namespace {

constexpr std::size_t agents_limit = 1000;
constexpr std::size_t preview_limit = 16;
constexpr std::size_t reply_limit = 64 * 1024;

void add_line(std::string& to, const std::string& text) {
    if (text.empty() || to.size() > reply_limit) return;
    if (!to.empty()) to += '\n';
    to += text;
}

// The command of a request, as the page may give it.
bool read_command(json_object* request, command_line& out, std::string& error) {
    if (!parse_command_line(json_text(request, "line"), out, error)) return false;
    if (out.word.empty()) error = "a command is missing";
    if (!out.word.empty() && (out.to != target::newest || out.unchecked))
        error = "the line is the command alone; agents and unchecked are members of the request";
    if (!page_may(out.word)) error = out.word + " is not for the page";
    return error.empty();
}

bool of_the_service(const std::string& word) {
    const auto& table = service_commands();
    return word == "help" ||
           std::any_of(table.begin(), table.end(), [&](const command& one) { return word == one.word; });
}

// Gives the line to each agent in turn; one that fails does not keep it from the others.
json_ptr run_for(lab& service, const std::string& line, const std::vector<unsigned>& agents, std::string& error) {
    std::string text;
    for (const unsigned agent : agents) {
        const line_result result = run_command(service, "agent " + std::to_string(agent) + " " + line);
        add_line(result.good ? text : error,
                 (result.good ? "" : "agent " + std::to_string(agent) + ": ") + result.reply);
    }
    if (!error.empty()) return nullptr;
    json_ptr reply = new_json_object();
    json_put(reply.get(), "text", text);
    return reply;
}

bool some(const std::vector<unsigned>& agents, std::string& error) {
    if (agents.empty()) error = "no agent is named";
    return !agents.empty();
}

}  // namespace

bool asked_agents(lab& service, json_object* request, std::vector<unsigned>& agents, std::string& error) {
    json_object* asked = json_member(request, "agents");
    if (json_object_is_type(asked, json_type_string) && json_text(request, "agents") == "all") {
        for (const auto& entry : service.agents())
            agents.push_back(entry.first);
        return true;
    }
    for (std::size_t i = 0; i < std::min(json_length(asked), agents_limit); ++i) {
        const auto number = static_cast<unsigned>(json_object_get_int64(json_element(asked, i)));
        if (service.agents().count(number) == 0) {
            error = "there is no agent " + std::to_string(number);
            return false;
        }
        agents.push_back(number);
    }
    return true;
}

json_ptr answer_order(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error) {
    command_line line;
    if (!read_command(request, line, error)) return nullptr;
    const std::string text = json_text(request, "line");
    if (of_the_service(line.word)) {
        const line_result result = run_command(service, text);
        if (!result.good) error = result.reply;
        if (!result.good) return nullptr;
        json_ptr reply = new_json_object();
        json_put(reply.get(), "text", result.reply);
        return reply;
    }
    if (!some(agents, error)) return nullptr;
    const bool unchecked = json_object_get_boolean(json_member(request, "unchecked")) != 0;
    return run_for(service, (unchecked ? "unchecked " : "") + text, agents, error);
}

json_ptr answer_preview(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error) {
    command_line line;
    if (!read_command(request, line, error) || !some(agents, error)) return nullptr;
    const order* o = find_order(line.word);
    if (!o) error = printable(line.word, 40) + " is no order of the protocol";
    if (!o) return nullptr;
    json_ptr list = new_json_array();
    for (std::size_t i = 0; i < std::min(agents.size(), preview_limit); ++i) {
        const agent& who = service.agents().at(agents[i]);
        order_context context = who.orders;  // what it remembers changes only when the order is given
        const json_ptr message = o->build(context, line.args, error);
        if (!message) return nullptr;
        const order_judgement verdict = judge_order(message.get(), who.radios);
        json_ptr one = new_json_object();
        json_put(one.get(), "agent", static_cast<std::int64_t>(who.number));
        json_put(one.get(), "message", json_ptr(json_object_get(message.get())));
        if (!verdict.fault.empty()) json_put(one.get(), "fault", verdict.fault);
        json_put(one.get(), "warnings", json_texts(verdict.warnings));
        json_append(list.get(), std::move(one));
    }
    json_ptr reply = new_json_object();
    json_put(reply.get(), "messages", std::move(list));
    return reply;
}

json_ptr answer_raw(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error) {
    const std::string text = json_text(request, "text");
    if (text.empty()) error = "the text is empty";
    if (text.empty() || !some(agents, error)) return nullptr;
    std::string not_json;
    const json_ptr message = parse_json(text, not_json);  // it may be anything
    for (const unsigned agent : agents)
        if (!service.send_bytes(service.agents().at(agent), {outgoing::kind::text, text}, text, message.get()))
            add_line(error, "agent " + std::to_string(agent) + ": the link is gone or too much output waits");
    return error.empty() ? new_json_object() : nullptr;
}

json_ptr answer_fault(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error) {
    const std::string kind = json_text(request, "kind");
    if (kind == "refuse503") {
        json_ptr done = run_for(service, "close", agents, error);
        const line_result result = run_command(service, "refuse 503");
        if (!result.good) error = result.reply;
        return error.empty() ? std::move(done) : nullptr;
    }
    if (!some(agents, error)) return nullptr;
    if (kind == "close" || kind == "drop" || kind == "resume") return run_for(service, kind, agents, error);
    if (kind == "silence")
        return run_for(service, "mute", agents, error) ? run_for(service, "stop-reading", agents, error) : nullptr;
    error = "close, drop, silence, resume and refuse503 are the kinds of faults";
    return nullptr;
}

}  // namespace ravd::sim

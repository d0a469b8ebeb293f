#include "sim/ap/bus_service.h"

#include <json-c/json.h>

#include <utility>

namespace ravd::sim {

json_object* make_answer(const std::string& command, const std::string& reason) {
    json_object* answer = json_object_new_object();
    json_object_object_add(answer, "command", json_object_new_string((command + "-response").c_str()));
    json_object_object_add(answer, "status", json_object_new_string(reason.empty() ? "ok" : "error"));
    if (!reason.empty()) json_object_object_add(answer, "reason", json_object_new_string(reason.c_str()));
    return answer;
}

bus_service::bus_service(event_loop& loop, const event_log& log, fault_list& faults, const char* name, int module,
                         std::string directory, handler answer)
    : loop_(loop),
      log_(log),
      faults_(faults),
      name_(name),
      module_(module),
      directory_(std::move(directory)),
      answer_(std::move(answer)) {}

bus_service::~bus_service() { close(); }

void bus_service::close() {
    if (!endpoint_) return;
    loop_.forget(endpoint_->descriptor());
    endpoint_.reset();
}

bool bus_service::open(std::string& reason) {
    endpoint_ = bus_endpoint::open(directory_, module_, &reason);
    if (!endpoint_) return false;
    if (!endpoint_->start()) {
        reason = directory_ + ": module " + std::to_string(module_) + " cannot listen";
        endpoint_.reset();
        return false;
    }
    loop_.watch(endpoint_->descriptor(), [this] { serve(); });
    return true;
}

void bus_service::follow_faults() {
    const bool dead = faults_.has(name_, fault_kind::dead);
    if (dead && endpoint_) {
        log_.line(name_, "leaves the bus");
        close();
    } else if (!dead && !endpoint_) {
        std::string reason;
        const bool back = open(reason);
        log_.line(name_, "%s", back ? "is back on the bus" : reason.c_str());
    }
}

bool bus_service::send(int destination, const std::string& text) {
    return endpoint_ && endpoint_->send(destination, text) == bus_result::accepted;
}

void bus_service::serve() {
    bus_message message;
    // A handler may close the endpoint.
    while (endpoint_ && endpoint_->receive(message))
        take(message);
}

void bus_service::take(const bus_message& message) {
    const std::string text(message.text());
    json_object* request = json_tokener_parse(text.c_str());
    json_object* member = nullptr;
    const bool named = json_object_is_type(request, json_type_object) &&
                       json_object_object_get_ex(request, "command", &member) &&
                       json_object_is_type(member, json_type_string);
    const std::string command = named ? json_object_get_string(member) : "";
    const auto fault = faults_.strike({name_});
    std::string reply;
    if (fault && fault->kind == fault_kind::hang) {
        log_.line("fault", "%s does not answer %s", name_, command.c_str());
    } else if (fault && fault->kind == fault_kind::garbage) {
        log_.line("fault", "%s answers %s with garbage", name_, command.c_str());
        reply = garbage(static_cast<std::uint32_t>(text.size()), 300);
    } else if (fault && fault->kind == fault_kind::fail) {
        log_.line("fault", "%s refuses %s", name_, command.c_str());
        json_object* answer = make_answer(command, "fault injected");
        reply = json_object_to_json_string_ext(answer, JSON_C_TO_STRING_PLAIN);
        json_object_put(answer);
    } else if (json_object* answer = answer_(command, request)) {
        reply = json_object_to_json_string_ext(answer, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
        json_object_put(answer);
    }
    json_object_put(request);
    if (reply.empty()) return;
    const std::uint64_t connection = message.connection;
    const auto send_now = [this, connection, reply] {
        if (endpoint_) endpoint_->send_over(connection, reply);
    };
    if (fault && fault->kind == fault_kind::late)
        loop_.after(fault->value, send_now);
    else
        send_now();
}

}  // namespace ravd::sim

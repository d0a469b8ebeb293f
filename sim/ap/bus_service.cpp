#include "sim/ap/bus_service.h"

#include <utility>

namespace ravd::sim {
namespace {

constexpr std::size_t known_limit = 64;
constexpr std::size_t known_text_limit = 256;

}  // namespace

json_ptr make_answer(const std::string& command, const std::string& reason) {
    json_ptr answer = new_json_object();
    json_put(answer.get(), "command", command + "-response");
    json_put(answer.get(), "status", reason.empty() ? "ok" : "error");
    if (!reason.empty()) json_put(answer.get(), "reason", reason);
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
    loop_.leave(member_);
    endpoint_.reset();
}

bool bus_service::open(std::string& reason) {
    endpoint_ = bus_endpoint::open(directory_, module_, &reason);
    if (!endpoint_) return false;
    if (!endpoint_->start_polled()) {
        reason = directory_ + ": module " + std::to_string(module_) + " cannot listen";
        endpoint_.reset();
        return false;
    }
    member_ = loop_.join([this](std::vector<pollfd>& set) { return endpoint_->fill(set); },
                         [this](const pollfd* entries, std::size_t count) { serve(entries, count); });
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

void bus_service::serve(const pollfd* entries, std::size_t count) {
    bus_message message;
    endpoint_->serve(entries, count);
    // A handler may close the endpoint.
    while (endpoint_ && endpoint_->receive(message))
        take(message);
}

json_ptr bus_service::parse(std::string_view text) {
    std::string error;
    if (text.size() > known_text_limit) return parse_json(text, error);
    auto found = known_.find(text);
    if (found == known_.end()) {
        if (known_.size() == known_limit) known_.clear();
        found = known_.emplace(text, parse_json(text, error)).first;
    }
    return json_ptr(json_object_get(found->second.get()));
}

void bus_service::take(const bus_message& message) {
    const json_ptr request = parse(message.text());
    json_object* member = json_member(request.get(), "command");
    const std::string command = json_object_is_type(member, json_type_string) ? json_object_get_string(member) : "";
    const auto fault = faults_.none() ? std::nullopt : faults_.strike({name_});
    std::string reply;
    if (fault && fault->kind == fault_kind::hang) {
        log_.line("fault", "%s does not answer %s", name_, command.c_str());
    } else if (fault && fault->kind == fault_kind::garbage) {
        log_.line("fault", "%s answers %s with garbage", name_, command.c_str());
        reply = garbage(static_cast<std::uint32_t>(message.text().size()), 300);
    } else if (fault && fault->kind == fault_kind::fail) {
        log_.line("fault", "%s refuses %s", name_, command.c_str());
        reply = json_compact(make_answer(command, "fault injected").get());
    } else {
        reply = answer_(command, request.get());
    }
    if (reply.empty()) return;
    const auto send = [this, connection = message.connection](const std::string& text) {
        if (endpoint_) endpoint_->send_over(connection, text);
    };
    if (fault && fault->kind == fault_kind::late)
        loop_.after(fault->value, [send, reply] { send(reply); });
    else
        send(reply);
}

}  // namespace ravd::sim

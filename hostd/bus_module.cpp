#include "hostd/bus_module.h"

#include "core/logger.h"

namespace ravd::hostd {
namespace {

constexpr int requests_a_turn = 64;

}  // namespace

void bus_module::look() {
    if (endpoint_ && endpoint_->running()) return;
    endpoint_.reset();
    std::string reason;
    endpoint_ = bus_endpoint::open(directory_, module_, &reason);
    if (endpoint_ && !endpoint_->start_polled()) {
        endpoint_.reset();
        reason = "cannot listen";
    }
    if (!endpoint_ && !refused_) log_error(process_log, "module %d of the bus: %s\n", module_, reason.c_str());
    refused_ = !endpoint_;
}

int bus_module::fill(std::vector<pollfd>& set) {
    const int limit = endpoint_ ? endpoint_->fill(set) : -1;
    return more_ ? 0 : limit;
}

void bus_module::serve() {
    bus_message message;
    if (endpoint_) (void)endpoint_->wait_beside(-1, 0);
    more_ = false;
    for (int i = 0; endpoint_ && endpoint_->receive(message); ++i) {
        const std::string text(message.text());
        const json_reader request(text.c_str());
        const char* command = request.is_object() ? request.get_string("command") : nullptr;
        if (!command) continue;
        log_debug(process_log, "module %d: %.200s\n", module_, text.c_str());
        const std::string answer = answer_(command, request);
        if (!answer.empty()) endpoint_->send_over(message.connection, answer);
        more_ = i + 1 == requests_a_turn;
        if (more_) break;
    }
}

bool bus_module::send(int destination, const std::string& text) {
    return endpoint_ && endpoint_->send(destination, text) == bus_result::accepted;
}

std::string answer_text(const std::string& command, const std::string& reason) {
    json_writer answer(false);
    answer.add_string("command", (command + "-response").c_str());
    answer.add_string("status", reason.empty() ? "ok" : "error");
    if (!reason.empty()) answer.add_string("reason", reason.c_str());
    return answer.text();
}

std::string value_text(const std::string& command, const std::string& value) {
    json_writer answer(false);
    answer.add_string("command", (command + "-response").c_str());
    answer.add_string("status", "ok");
    answer.add_string("value", value.c_str());
    return answer.text();
}

}  // namespace ravd::hostd

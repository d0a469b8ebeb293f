#include "sim/service/console.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace ravd::sim {
namespace {

constexpr std::size_t line_limit = 40u << 20;  // a message of 16 MiB as hexadecimal digits
constexpr std::size_t event_limit = 1024;

}  // namespace

console::console(event_loop& loop, line_handler& handler)
    : loop_(loop),
      handler_(handler),
      lines_(
          loop, line_limit, "error: the line is too long\n",
          [this](source from, const std::string& line) { return run(from, line); },
          [this](source from) { marks_.erase(from); }) {}

line_server::next console::run(source from, const std::string& line) {
    marks_.emplace(from, from == line_server::standard_input ? 0 : control_mark_);
    const line_result result = handler_.handle_line(line);
    if (result.wait.active) {
        if (begin_wait(from, result.wait)) return line_server::next::wait;
        answer(from, true, "");
    } else if (line.find_first_not_of(" \t\r") != std::string::npos) {
        spend(from, next_event_ - 1);
        answer(from, result.good, result.reply);
    }
    return line_server::next::line;
}

// False when it is over already.
bool console::begin_wait(source from, const wait_request& wait) {
    if (!wait.event.empty() && (spend_event(from, wait) || handler_.already(wait))) return false;
    const std::uint64_t number = next_wait_++;
    waits_[from] = {wait, number};
    loop_.after(wait.ms, [this, from, number] {
        const auto found = waits_.find(from);
        if (found != waits_.end() && found->second.number == number) end_wait(from, false);
    });
    return true;
}

void console::spend(source from, std::uint64_t number) {
    marks_[from] = number;
    if (from != line_server::standard_input) control_mark_ = std::max(control_mark_, number);
}

bool console::spend_event(source from, const wait_request& wait) {
    const std::uint64_t mark = marks_[from];
    for (const happened& e : events_) {
        if (e.number <= mark || e.name != wait.event) continue;
        if (wait.agent != 0 && e.agent != wait.agent) continue;
        spend(from, e.number);
        return true;
    }
    return false;
}

void console::event(const std::string& name, unsigned agent) {
    events_.push_back({next_event_++, name, agent});
    if (events_.size() > event_limit) events_.pop_front();
    // Behind the message that is being worked on.
    if (!waits_.empty() && !std::exchange(look_due_, true)) loop_.soon([this] { look_at_waits(); });
}

void console::look_at_waits() {
    look_due_ = false;
    std::vector<source> over;
    for (const auto& [from, one] : waits_)
        if (!one.wait.event.empty() && (spend_event(from, one.wait) || handler_.already(one.wait)))
            over.push_back(from);
    for (const source from : over)
        end_wait(from, true);
}

void console::end_wait(source from, bool happened) {
    const auto found = waits_.find(from);
    if (found == waits_.end()) return;
    const std::string event = found->second.wait.event;
    waits_.erase(found);
    const bool failed = !happened && !event.empty();
    if (failed) handler_.wait_failed();
    answer(from, !failed, failed ? "no " + event + " within the time" : "");
    lines_.resume(from);
}

// A client of the control socket can tell the end of an answer: its last line is "ok" or begins with "error: ".
void console::answer(source to, bool good, const std::string& text) {
    const bool standard = to == line_server::standard_input;
    if (!good)
        lines_.reply(to, "error: " + text + "\n");
    else if (!text.empty())
        lines_.reply(to, text + (standard ? "\n" : "\nok\n"));
    else if (!standard)
        lines_.reply(to, "ok\n");
}

}  // namespace ravd::sim

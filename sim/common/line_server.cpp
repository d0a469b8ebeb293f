#include "sim/common/line_server.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace ravd::sim {

line_server::line_server(event_loop& loop, std::size_t line_limit, std::string too_long, runner run,
                         std::function<void(source)> ended)
    : loop_(loop),
      line_limit_(line_limit),
      too_long_(std::move(too_long)),
      run_(std::move(run)),
      ended_(std::move(ended)),
      server_(loop, 0, [this](source from, std::string& input, bool over) { return take(from, input, over); }) {}

line_server::~line_server() { loop_.forget(STDIN_FILENO); }

void line_server::read_standard_input(const char* prompt, completer complete) {
    lines& those = sources_.emplace(standard_input, line_limit_).first->second;
    if (line_editor::usable())
        editor_ = std::make_unique<line_editor>(
            prompt, std::move(complete),
            [&those](const std::string& line) { those.buffer.append((line + "\n").c_str(), line.size() + 1); },
            [&those] { those.buffer.end(); });
    loop_.watch(STDIN_FILENO, POLLIN, [this](short) { read_standard(); });
}

void line_server::read_standard() {
    lines& those = sources_.at(standard_input);
    if (editor_)
        editor_->read();
    else
        those.buffer.fill(STDIN_FILENO);
    run_lines(standard_input, those);
}

bool line_server::take(source from, std::string& input, bool ended) {
    lines& those = sources_.emplace(from, line_limit_).first->second;
    those.buffer.append(input.data(), input.size());
    input.clear();
    if (ended) those.buffer.end();
    run_lines(from, those);
    return true;
}

void line_server::run_lines(source from, lines& those) {
    std::string line;
    while (!those.waits && those.buffer.next(line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        those.waits = run_(from, line) == next::wait;
    }
    if (those.buffer.take_overflow()) {
        reply(from, too_long_);
        if (from != standard_input) those.buffer.end();  // a client that sends no lines is let go
    }
    if (from == standard_input)
        loop_.change(STDIN_FILENO, those.waits || those.buffer.ended() ? 0 : POLLIN);
    else
        server_.hold(from, those.waits);
    if (those.waits || !those.buffer.ended()) return;
    sources_.erase(from);
    if (from == standard_input) {
        loop_.forget(STDIN_FILENO);
        editor_.reset();
    } else {
        server_.send(from, "", true);
    }
    ended_(from);
}

void line_server::resume(source from) {
    const auto found = sources_.find(from);
    if (found == sources_.end()) return;
    found->second.waits = false;
    run_lines(from, found->second);
}

void line_server::reply(source to, const std::string& text) {
    if (to != standard_input) return server_.send(to, text, false);
    print_lines(text);
}

}  // namespace ravd::sim

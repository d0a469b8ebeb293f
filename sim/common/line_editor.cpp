#include "sim/common/line_editor.h"

#include <editline/readline.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace ravd::sim {
namespace {

// What the library's callbacks, which carry nothing, belong to.
struct editing {
    std::string prompt;
    bool line_over = false;  // the library waits to be set up for the next one
    completer complete;
    std::vector<std::string> found;  // by the last completion
    std::function<void(const std::string&)> line;
    std::function<void()> ended;
};
editing* current = nullptr;

char* next_match(const char* text, int state) {
    static std::size_t at = 0;
    if (state == 0) at = 0;
    while (current && at < current->found.size()) {
        const std::string& word = current->found[at++];
        if (word.compare(0, std::strlen(text), text) == 0) return strdup(word.c_str());
    }
    return nullptr;
}

// Without anything that is known to fit the library completes file names, which some commands take.
char** complete(const char* text, int start, int) {
    if (!current) return nullptr;
    current->found = current->complete(std::string(rl_line_buffer, static_cast<std::size_t>(start)));
    rl_attempted_completion_over = current->found.empty() ? 0 : 1;
    // Behind a key comes its value, behind anything else a blank.
    const auto goes_on = [text](const std::string& word) {
        return word.back() == '=' && word.compare(0, std::strlen(text), text) == 0;
    };
    const bool key = std::any_of(current->found.begin(), current->found.end(), goes_on);
    rl_completion_append_character = key ? 0 : 0x20;
    return rl_completion_matches(text, next_match);
}

void take_line(char* text) {
    if (!current) return;
    current->line_over = true;
    if (!text) return current->ended();
    const std::string line(text);
    std::free(text);
    if (line.find_first_not_of(" \t") != std::string::npos) add_history(line.c_str());
    current->line(line);
}

}  // namespace

bool line_editor::usable() {
    const char* terminal = std::getenv("TERM");
    if (!terminal || std::strcmp(terminal, "dumb") == 0 || !isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO))
        return false;
    return tcgetpgrp(STDIN_FILENO) == getpgrp();  // from the background it would stop us
}

line_editor::line_editor(const char* prompt, completer complete_words, std::function<void(const std::string&)> line,
                         std::function<void()> ended) {
    current = new editing{prompt, false, std::move(complete_words), {}, std::move(line), std::move(ended)};
    std::setlocale(LC_CTYPE, "");
    rl_catch_signals = 0;  // the program has handlers of its own
    using_history();
    rl_attempted_completion_function = complete;
    rl_callback_handler_install(prompt, take_line);
}

line_editor::~line_editor() {
    rl_callback_handler_remove();
    delete std::exchange(current, nullptr);
    std::printf("\n");
    std::fflush(stdout);
}

void line_editor::read() {
    rl_callback_read_char();
    // Behind a line it has left the terminal to itself, and would show the old line again.
    if (std::exchange(current->line_over, false)) rl_callback_handler_install(current->prompt.c_str(), take_line);
}

void print_lines(const std::string& text) {
    if (current) std::fputs("\r\033[K", stdout);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    if (current) rl_forced_update_display();
}

}  // namespace ravd::sim

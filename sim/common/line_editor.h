// Line editing, history and completion for a person at a terminal, where the editing library was there to build with.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ravd::sim {

// All that may stand behind what is typed before a word, or before the value of a key; without any, file names are
// completed.
using completer = std::function<std::vector<std::string>(const std::string& before)>;

// One at a time: the library's state is the process's.
class line_editor {
  public:
    // Whether standard input and output are a terminal that can be edited on, in the foreground.
    static bool usable();

    // Shows the prompt. `line` gets each line without its end, `ended` the end of the input.
    line_editor(const char* prompt, completer complete, std::function<void(const std::string&)> line,
                std::function<void()> ended);
    // Leaves the terminal as it was.
    ~line_editor();  // NOLINT(performance-trivially-destructible): only without an editor
    line_editor(const line_editor&) = delete;
    line_editor& operator=(const line_editor&) = delete;

    // Standard input is readable.
    void read();
};

// Writes whole lines to standard output, at once; above the line that somebody is typing there.
void print_lines(const std::string& text);

}  // namespace ravd::sim

// Where there is no editing library: lines come as the terminal hands them over.
#include <cstdio>

#include "sim/common/line_editor.h"

namespace ravd::sim {

bool line_editor::usable() { return false; }
// NOLINTBEGIN(performance-unnecessary-value-param): an editor keeps them
line_editor::line_editor(const char*, completer, std::function<void(const std::string&)>, std::function<void()>) {}
// NOLINTEND(performance-unnecessary-value-param)
line_editor::~line_editor() = default;
void line_editor::read() {}

void print_lines(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

}  // namespace ravd::sim

// What all commands of ravd-bus share: their two outputs, and the wish of the user that they end.
#pragma once

#include <string>
#include <string_view>

namespace ravd {

// One line on standard error, after the program's name.
void complain(const std::string& text);
// Writes all bytes to standard output; false when it is closed or a signal came.
bool print(const std::string& text);
// Adds a message; its line ends as \n and \r.
void append_escaped(std::string& out, std::string_view text);

// SIGTERM and SIGINT are awaited from the first call on: the descriptor becomes readable, and ending() true.
int end_signal();
bool ending();

}  // namespace ravd

// One command for a program that runs, over its control socket.
#pragma once

#include <string>

namespace ravd::sim {

// Gives the command and prints the answer, up to its last line: "ok", "ok TEXT" or one that begins with "error". The
// exit status: 0 for ok, 1 for an error, 2 when nobody answers, which is told on standard error after the program's
// name.
int tell(const char* program, const std::string& socket_path, const std::string& command);

}  // namespace ravd::sim

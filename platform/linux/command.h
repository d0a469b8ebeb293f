// Running a command by the shell within bounds. The simulation's port uses it too.
#pragma once

#include <string>

namespace ravd::sys {

// Runs `command` by /bin/sh in a process group of its own: standard input and standard error are /dev/null, signals
// have their default actions, and only descriptors that are not close-on-exec are passed on. Waits until its standard
// output is closed by every process that holds it and the shell has ended, at most command_limit_ms of real time; then
// the group is killed. `output` (null: dropped) receives the first command_output_limit bytes that it wrote. False,
// with errno set (ETIMEDOUT for a killed one), when it cannot be started or had to be killed. Not started either
// (EAGAIN) while 8 killed ones have not ended, because the kernel holds them.
bool run_shell(const char* command, std::string* output);

}  // namespace ravd::sys

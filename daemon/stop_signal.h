// SIGTERM and SIGINT.
#pragma once

#include <cstdint>

namespace ravd {

// From now on both signals clear the four run flags and nothing else; the workers end on their next turn. Also keeps a
// peer that hung up from ending the process (SIGPIPE).
void install_stop_handler();

// Whether a signal came.
bool stop_requested();

// Writes the handler's debug line if a signal came. Not in the handler, which may interrupt a thread that holds the
// log's lock.
void log_stop_signal();

// Ends the process with status 0, wherever it is then, if it still runs after that time. For a process that was told to
// stop.
void end_process_after(std::int64_t ms);

}  // namespace ravd

// SIGTERM and SIGINT.
#pragma once

namespace ravd {

// From now on both signals clear the four run flags and nothing else; the workers end on their next turn. Also keeps a
// peer that hung up from ending the process (SIGPIPE).
void install_stop_handler();

// Writes the handler's debug line if a signal came since the last call. Not in the handler, which may interrupt a
// thread that holds the log's lock.
void log_stop_signal();

}  // namespace ravd

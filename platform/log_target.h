// Where the log goes. Beside the device's own log calls, because a device's library decides this itself (there
// the call may do nothing).
#pragma once

// Sends the log to `path` from now on, rotated when it has grown; an empty path means standard error, which is the
// start. False when the file cannot be opened: the log stays where it was. Called while one thread runs.
bool log_target_set_file(const char* path);

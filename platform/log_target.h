// Where the log goes. Beside the device's own log calls, because a device's library decides this itself (there
// the call may do nothing).
#pragma once

// Sends the log to `path` from now on; an empty path means standard error, which is the start. What the file held
// stays. Before it would exceed 1 MiB it is renamed to "<path>.1", in place of an older one. Called while one thread
// runs. False, the log staying where it was, when the file cannot be opened, is a link, or has a second name.
bool log_target_set_file(const char* path);

// The device's log library. On a device its vendor's library stands behind these names; platform/portable has ours.
#pragma once

#include <cstdarg>

// Opens the log under an upper-case ident, with rotation. Called once, before any thread.
void quarn_log_init_rotate(const char* ident);
// Name that starts each message; the text must stay valid. May be called before main.
void quarn_log_set_daemonname(const char* name);
// Writes one message. `priority_mask` is LOG_MASK(priority) of <syslog.h>. The library adds the time and the daemon
// name, and a line end where the text has none. The caller serialises the calls.
void vquarn_log_msg_timed_new(int priority_mask, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

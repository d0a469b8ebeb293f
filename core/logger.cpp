#include "core/logger.h"

#include <syslog.h>

#include <cstdarg>
#include <mutex>

#include "platform/quarn_log.h"

namespace ravd {

logger process_log;

namespace {

std::mutex log_mutex;  // serialises the calls into the log library

void write(int priority_mask, const char* format, va_list arguments) {
    const std::lock_guard<std::mutex> lock(log_mutex);
    vquarn_log_msg_timed_new(priority_mask, format, arguments);
}

}  // namespace

void log_error(const logger& log, const char* format, ...) {
    if (!log_enabled(log, log_error_bit)) return;
    va_list arguments;
    va_start(arguments, format);
    write(LOG_MASK(LOG_ERR), format, arguments);
    va_end(arguments);
}

void log_warning(const logger& log, const char* format, ...) {
    if (!log_enabled(log, log_warning_bit)) return;
    va_list arguments;
    va_start(arguments, format);
    write(LOG_MASK(LOG_WARNING), format, arguments);
    va_end(arguments);
}

void log_info(const logger& log, const char* format, ...) {
    if (!log_enabled(log, log_info_bit)) return;
    va_list arguments;
    va_start(arguments, format);
    write(LOG_MASK(LOG_INFO), format, arguments);
    va_end(arguments);
}

void log_debug(const logger& log, const char* format, ...) {
    if (!log_enabled(log, log_debug_bit)) return;
    va_list arguments;
    va_start(arguments, format);
    write(LOG_MASK(LOG_DEBUG), format, arguments);
    va_end(arguments);
}

}  // namespace ravd

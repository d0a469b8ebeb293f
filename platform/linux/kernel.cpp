// The calls that any Linux answers alike; the simulation's port uses them too.
#include <poll.h>
#include <syslog.h>

#include <cerrno>

#include "platform/system.h"

namespace ravd::sys {

timespec monotonic_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

void sleep_us(std::uint32_t us) {
    timespec left{};
    left.tv_sec = static_cast<time_t>(us / 1000000);
    left.tv_nsec = static_cast<long>(us % 1000000) * 1000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

int wait_readable(int fd, int timeout_ms) {
    pollfd entry{fd, POLLIN, 0};
    const int ready = poll(&entry, 1, timeout_ms);
    if (ready <= 0 || !(entry.revents & POLLNVAL)) return ready;
    errno = EBADF;
    return -1;
}

void open_system_log(const char* ident) { openlog(ident, LOG_PID, LOG_DAEMON); }
void system_log(int priority, const char* text) { syslog(priority, "%s", text); }

}  // namespace ravd::sys

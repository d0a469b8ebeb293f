#include "rrm/idle_wait.h"

#include <sys/epoll.h>
#include <sys/inotify.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr int unwatched_ms = 100;
// Who notifies writes several files, and not always the common one last: all of them get this time to appear, and
// nobody is waited for longer than where files are not watched.
constexpr int settle_ms = unwatched_ms;

void add_to(int epoll, int fd) {
    epoll_event readable{};
    readable.events = EPOLLIN;
    epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &readable);
}

}  // namespace

idle_wait::idle_wait(int event_fd)
    : event_fd_(event_fd),
      directories_{
          {{sys::device_path("/tmp"), ".corvane_notify", IN_CREATE | IN_MOVED_TO},
           {sys::device_path("/var/run"), "hostapd.pid", IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM}}} {}

// Again at each rest while one is missing: it may be made later.
bool idle_wait::watch_directories() {
    if (!either_) {
        files_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        unique_fd epoll(epoll_create1(EPOLL_CLOEXEC));
        if (!files_ || !epoll) return false;
        add_to(epoll.get(), files_.get());
        add_to(epoll.get(), event_fd_);
        either_ = std::move(epoll);
    }
    bool all = true;
    for (watched_directory& one : directories_) {
        if (one.watch < 0) one.watch = inotify_add_watch(files_.get(), one.path.c_str(), one.events | IN_ONLYDIR);
        all = all && one.watch >= 0;
    }
    return all;
}

void idle_wait::rest(int longest_ms, int driver_fd) {
    const bool announced = watch_directories();
    // Each time: it may be another under the same number, which then is not watched yet.
    if (either_ && driver_fd >= 0) add_to(either_.get(), driver_fd);
    std::int64_t end_ms = monotonic_ms() + (announced ? longest_ms : std::min(longest_ms, unwatched_ms));
    int waits_for = either_ ? either_.get() : event_fd_;
    for (;;) {
        const std::int64_t left_ms = std::max<std::int64_t>(end_ms - monotonic_ms(), 0);
        if (sys::wait_readable(waits_for, static_cast<int>(left_ms)) != 1) return;
        const news heard = waits_for == event_fd_ ? news::none : take_file_events();
        if (heard == news::none) break;
        if (heard == news::other) continue;
        end_ms = std::min(end_ms, monotonic_ms() + settle_ms);
        waits_for = event_fd_;
    }
    if (driver_fd >= 0 && sys::wait_readable(event_fd_, 0) != 1) return;
    std::uint64_t count;
    // Nobody else reads the counter, so this does not block; a failure leaves it for the next rest.
    [[maybe_unused]] const ssize_t got = read(event_fd_, &count, sizeof count);
}

idle_wait::news idle_wait::take_file_events() {
    alignas(inotify_event) char events[4096];
    const ssize_t got = read(files_.get(), events, sizeof events);
    if (got <= 0) return news::none;
    news heard = news::other;
    for (ssize_t at = 0; at < got;) {
        inotify_event event;
        std::memcpy(&event, events + at, sizeof event);
        const char* file = event.len ? events + at + sizeof event : "";
        if (event.mask & (IN_Q_OVERFLOW | IN_IGNORED) || is_ours(event.wd, file)) heard = news::ours;
        for (watched_directory& one : directories_)
            if (event.mask & IN_IGNORED && one.watch == event.wd) one.watch = -1;
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    return heard;
}

bool idle_wait::is_ours(int watch, const char* file) const {
    for (const watched_directory& one : directories_)
        if (one.watch == watch && std::strncmp(file, one.start, std::strlen(one.start)) == 0) return true;
    return false;
}

}  // namespace ravd

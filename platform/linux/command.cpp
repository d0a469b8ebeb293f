#include "platform/linux/command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <mutex>
#include <vector>

#include "platform/system.h"
#include "platform/unique_fd.h"

extern char** environ;

namespace ravd::sys {
namespace {

constexpr int reap_limit_ms = 300;  // a killed process that sits in the driver may not end at all
constexpr std::size_t leftover_limit = 8;

// Real time even where the daemon's clock is virtual: it bounds real processes.
long long now_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

int left_ms(long long deadline) {
    return static_cast<int>(std::clamp(deadline - now_ms(), 0LL, static_cast<long long>(INT_MAX)));
}

// Both ends above the standard descriptors, so that redirecting those in the child never meets them.
bool open_pipe(unique_fd& reading, unique_fd& writing) {
    int low[2];
    if (pipe2(low, O_CLOEXEC) != 0) return false;
    const unique_fd low_reading(low[0]);
    const unique_fd low_writing(low[1]);
    reading.reset(fcntl(low[0], F_DUPFD_CLOEXEC, 3));
    writing.reset(fcntl(low[1], F_DUPFD_CLOEXEC, 3));
    return reading && writing && fcntl(reading.get(), F_SETFL, O_NONBLOCK) == 0;
}

// The process number, or -1 with errno set.
pid_t spawn_shell(const char* command, int output_fd) {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    if (const int reason = posix_spawn_file_actions_init(&files)) return errno = reason, -1;
    if (const int reason = posix_spawnattr_init(&attributes)) {
        posix_spawn_file_actions_destroy(&files);
        return errno = reason, -1;
    }
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, output_fd, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    // The daemon ignores SIGPIPE and its threads may block signals; a command must not inherit that.
    sigset_t defaults;
    sigset_t unblocked;
    sigemptyset(&defaults);
    sigemptyset(&unblocked);
    for (const int number :
         {SIGPIPE, SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCHLD, SIGALRM, SIGUSR1, SIGUSR2, SIGTSTP, SIGTTIN, SIGTTOU})
        sigaddset(&defaults, number);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &unblocked);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    const char* const arguments[] = {"sh", "-c", command, nullptr};
    pid_t child = -1;
    const int reason =
        posix_spawn(&child, "/bin/sh", &files, &attributes, const_cast<char* const*>(arguments), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (reason) return errno = reason, -1;
    return child;
}

// Reads until the end of the output. False when the deadline came first.
bool collect(int fd, std::string* output, long long deadline) {
    char piece[4096];
    for (;;) {
        const ssize_t size = read(fd, piece, sizeof piece);
        if (size == 0) return true;
        if (size > 0 && output) {
            const std::size_t room = command_output_limit - output->size();
            output->append(piece, std::min(room, static_cast<std::size_t>(size)));
        }
        const int wait = left_ms(deadline);
        if (wait == 0) return false;  // also a command that never stops writing
        if (size > 0 || errno == EINTR) continue;
        if (errno != EAGAIN) return true;
        pollfd entry{fd, POLLIN, 0};
        poll(&entry, 1, wait);
    }
}

// True when the child has ended and is reaped.
bool reap(pid_t child, long long deadline) {
    for (long pause_us = 500;; pause_us = std::min(2 * pause_us, 20000L)) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR)) return true;
        if (left_ms(deadline) == 0) return false;
        const timespec pause{0, pause_us * 1000};
        nanosleep(&pause, nullptr);
    }
}

// Killed children that had not ended when their time was over; each later command reaps those that have. No command is
// started while there are too many: a driver that hangs for good would gather processes without end.
class leftover_list {
  public:
    void add(pid_t child) {
        const std::lock_guard<std::mutex> lock(mutex_);
        children_.push_back(child);
    }
    // False when there are too many.
    bool reap_ended() {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (auto child = children_.begin(); child != children_.end();)
            child = waitpid(*child, nullptr, WNOHANG) != 0 ? children_.erase(child) : child + 1;
        return children_.size() < leftover_limit;
    }

  private:
    std::mutex mutex_;
    std::vector<pid_t> children_;
};

leftover_list leftovers;

}  // namespace

bool run_shell(const char* command, std::string* output) {
    if (output) output->clear();
    if (!leftovers.reap_ended()) return errno = EAGAIN, false;
    unique_fd reading;
    unique_fd writing;
    if (!open_pipe(reading, writing)) return false;
    const long long deadline = now_ms() + command_limit_ms;
    const pid_t child = spawn_shell(command, writing.get());
    writing.reset();
    if (child < 0) return false;
    const bool in_time = collect(reading.get(), output, deadline) && reap(child, deadline);
    reading.reset();
    if (in_time) return true;
    kill(-child, SIGKILL);
    if (!reap(child, now_ms() + reap_limit_ms)) leftovers.add(child);
    errno = ETIMEDOUT;
    return false;
}

}  // namespace ravd::sys

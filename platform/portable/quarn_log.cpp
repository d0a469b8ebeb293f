// The log: one line start with time, daemon name and level, then the message. To standard error, or to a file that is
// renamed to "<file>.1" before it outgrows its limit.
#include "platform/quarn_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "platform/log_target.h"
#include "platform/unique_fd.h"

namespace {

constexpr off_t file_limit = 1024 * 1024;          // bytes; together with the old file twice that
constexpr std::size_t message_limit = 256 * 1024;  // a longer message is cut

// Constant-initialised: the daemon's name is set before main, in no particular order.
struct log_state {
    const char* ident = "";
    const char* name = nullptr;
    char path[1024] = "";  // empty: standard error
    // Of `path`; -1 also while it cannot be opened again. No owner: what other objects log at process exit still comes.
    int fd = -1;
};
log_state state;

// Follows no link at the end of the path, makes no other name's file grow, blocks on no pipe, truncates nothing.
ravd::unique_fd open_log(const char* path) {
    ravd::unique_fd file(
        open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0640));
    struct stat info {};
    const bool usable = file && fstat(file.get(), &info) == 0 && !S_ISDIR(info.st_mode) &&
                        (!S_ISREG(info.st_mode) || info.st_nlink <= 1);
    return usable ? std::move(file) : ravd::unique_fd();
}

void reopen() {
    if (state.fd >= 0) close(state.fd);
    state.fd = open_log(state.path).release();
}

// Makes room for `size` more bytes. A file that somebody removed is created anew.
void rotate_for(std::size_t size) {
    struct stat info {};
    if (state.fd < 0 || fstat(state.fd, &info) != 0 || info.st_nlink == 0) return reopen();
    if (!S_ISREG(info.st_mode) || info.st_size + static_cast<off_t>(size) <= file_limit || info.st_size == 0) return;
    char old_path[sizeof state.path + 2];
    std::snprintf(old_path, sizeof old_path, "%s.1", state.path);
    if (rename(state.path, old_path) == 0 || errno == ENOENT) return reopen();  // ENOENT: somebody else moved it away
    // In a directory that allows no new name the bound still holds.
    if (ftruncate(state.fd, 0) != 0) reopen();
}

void write_all(int fd, const char* text, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(fd, text, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;  // a full disk loses the message, nothing else
        text += written;
        size -= static_cast<std::size_t>(written);
    }
}

const char* level_name(int priority_mask) {
    if (priority_mask & LOG_MASK(LOG_ERR)) return "error";
    if (priority_mask & LOG_MASK(LOG_WARNING)) return "warning";
    if (priority_mask & LOG_MASK(LOG_INFO)) return "info";
    if (priority_mask & LOG_MASK(LOG_DEBUG)) return "debug";
    return "notice";
}

// Writes the start of a line into `out`; returns its length, below `size`.
std::size_t line_start(char* out, std::size_t size, int priority_mask) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const std::size_t stamp = strftime(out, size, "%Y-%m-%d %H:%M:%S", &local);
    const int rest =
        std::snprintf(out + stamp, size - stamp, ".%03d %s[%ld] %s: ", static_cast<int>(now.tv_nsec / 1000000),
                      state.name ? state.name : state.ident, static_cast<long>(getpid()), level_name(priority_mask));
    return std::min(stamp + static_cast<std::size_t>(std::max(rest, 0)), size - 1);
}

}  // namespace

void quarn_log_init_rotate(const char* ident) { state.ident = ident ? ident : ""; }

void quarn_log_set_daemonname(const char* name) { state.name = name; }

bool log_target_set_file(const char* path) {
    const std::size_t length = path ? std::strlen(path) : 0;
    if (length >= sizeof state.path) return false;
    ravd::unique_fd file = length > 0 ? open_log(path) : ravd::unique_fd();
    if (length > 0 && !file) return false;
    if (state.fd >= 0) close(state.fd);
    state.fd = file.release();
    if (length) std::memcpy(state.path, path, length);
    state.path[length] = '\0';
    return true;
}

void vquarn_log_msg_timed_new(int priority_mask, const char* format, va_list arguments) {
    char short_line[1024];
    char* line = short_line;
    const std::size_t start = line_start(short_line, 256, priority_mask);

    va_list again;
    va_copy(again, arguments);
    const int wanted = std::vsnprintf(line + start, sizeof short_line - start, format, arguments);
    std::size_t length = std::min(static_cast<std::size_t>(std::max(wanted, 0)), message_limit);
    if (start + length + 2 > sizeof short_line) {
        if (char* long_line = static_cast<char*>(std::malloc(start + length + 2))) {
            std::memcpy(long_line, line, start);
            std::vsnprintf(long_line + start, length + 1, format, again);
            line = long_line;
        } else {
            length = sizeof short_line - start - 2;
        }
    }
    va_end(again);

    std::size_t size = start + length;
    while (size > start && line[size - 1] == '\n')
        --size;
    line[size++] = '\n';
    if (state.path[0]) rotate_for(size);
    write_all(state.fd >= 0 ? state.fd : STDERR_FILENO, line, size);
    if (line != short_line) std::free(line);
}

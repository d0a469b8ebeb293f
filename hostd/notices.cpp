#include "hostd/notices.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "core/logger.h"
#include "hostd/lines.h"
#include "hostd/settings.h"
#include "platform/system.h"
#include "platform/unique_fd.h"

namespace ravd::hostd {
namespace {

constexpr int largest_pid = 1 << 22;

bool make_new(const std::string& path) {
    ::unlink(path.c_str());
    return static_cast<bool>(unique_fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644)));
}

bool is_running(int pid) { return ::kill(pid, 0) == 0 || errno != ESRCH; }

}  // namespace

bool raise_notice(const char* name) {
    const std::string notify = sys::device_path("/tmp/.corvane_notify");
    if (make_new(notify + "_" + name) && make_new(notify)) return true;
    log_error(process_log, "notification %s: %s\n", name, std::strerror(errno));
    return false;
}

pid_file::pid_file() : path_(sys::device_path("/var/run/hostapd.pid")) {}

void pid_file::follow(int pid) {
    std::string text;
    const bool there = read_whole_file(path_, text, 64);
    const std::int64_t written = there ? number_of(words_of(text + " 0")[0], largest_pid) : 0;
    // 0: it is being written just now.
    if (written > 0 && !is_running(static_cast<int>(written))) {
        if (::unlink(path_.c_str()) == 0)
            log_info(process_log, "hostapd, process %d, is gone; so is its pid file\n", static_cast<int>(written));
    } else if (!there && pid > 0 && is_running(pid)) {
        const unique_fd file(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        const std::string line = std::to_string(pid) + "\n";
        if (!file || ::write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            log_error(process_log, "%s: %s\n", path_.c_str(), std::strerror(errno));
    }
}

std::string command_line_of(int pid) {
    std::string text;
    read_whole_file(sys::device_path(("/proc/" + std::to_string(pid) + "/cmdline").c_str()), text, 16 * 1024);
    return text;
}

}  // namespace ravd::hostd

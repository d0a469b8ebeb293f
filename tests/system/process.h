// A program under test in a process of its own.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ravd::testing {

// Looks every 10 ms until `holds` answers true, at most `limit_ms`.
inline bool eventually(int limit_ms, const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        poll(nullptr, 0, 10);
    }
    return true;
}

// How long the first thread of a process was ready to run and had no processor. Nothing where the kernel does not
// count.
inline std::chrono::nanoseconds kept_waiting(const std::string& process) {
    long long ran_ns = 0;
    long long waited_ns = 0;
    std::ifstream("/proc/" + process + "/schedstat") >> ran_ns >> waited_ns;
    return std::chrono::nanoseconds(waited_ns);
}

class process {
  public:
    // Starts `command`, its name first, with standard output and standard error in the file `output`.
    process(std::vector<std::string> command, const std::string& output) : pid_(fork()) {
        if (pid_ != 0) return;
        const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        dup2(fd, STDOUT_FILENO);
        dup2(fd, STDERR_FILENO);
        std::vector<char*> arguments;
        for (std::string& text : command)
            arguments.push_back(text.data());
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    process(const process&) = delete;
    ~process() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }

    void signal(int number) const { kill(pid_, number); }
    // Exit status, 1000 plus the signal that ended it, or -1 when it still runs after `limit_ms`.
    int wait(int limit_ms) {
        int status = 0;
        siginfo_t ended{};
        const auto id = static_cast<id_t>(pid_);
        const auto has_ended = [&] {
            return waitid(P_PID, id, &ended, WEXITED | WNOHANG | WNOWAIT), ended.si_pid != 0;
        };
        if (!eventually(limit_ms, has_ended)) return -1;
        kept_waiting_ = kept_waiting();
        waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    // The first thread's time without a processor so far; of one that was waited for, until its end.
    std::chrono::nanoseconds kept_waiting() const {
        return pid_ > 0 ? testing::kept_waiting(std::to_string(pid_)) : kept_waiting_;
    }

  private:
    pid_t pid_;
    std::chrono::nanoseconds kept_waiting_{};
};

}  // namespace ravd::testing

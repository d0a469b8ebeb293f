// A program under test in a process of its own.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
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
        if (!eventually(limit_ms, [&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) return -1;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

  private:
    pid_t pid_;
};

}  // namespace ravd::testing

#include "tools/bus/output.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace ravd {
namespace {

volatile sig_atomic_t signalled = 0;
int signal_pipe[2] = {-1, -1};

void on_signal(int) {
    const int saved = errno;
    signalled = 1;
    (void)!::write(signal_pipe[1], "", 1);
    errno = saved;
}

}  // namespace

int end_signal() {
    if (signal_pipe[0] == -1 && ::pipe(signal_pipe) == 0) {
        struct sigaction action {};
        action.sa_handler = on_signal;
        (void)::sigaction(SIGTERM, &action, nullptr);
        (void)::sigaction(SIGINT, &action, nullptr);
    }
    return signal_pipe[0];
}

bool ending() { return signalled != 0; }

bool print(const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t n = ::write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (n >= 0)
            done += static_cast<std::size_t>(n);
        else if (errno != EINTR || ending())
            return false;
    }
    return true;
}

void complain(const std::string& text) {
    std::fprintf(stderr, "ravd-bus: %s\n", text.c_str());
    std::fflush(stderr);
}

void append_escaped(std::string& out, std::string_view text) {
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of("\n\r", begin), text.size());
        out.append(text.substr(begin, end - begin));
        if (end < text.size()) out += text[end] == '\n' ? "\\n" : "\\r";
        begin = end + 1;
    }
}

}  // namespace ravd

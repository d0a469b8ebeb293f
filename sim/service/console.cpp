#include "sim/service/console.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ravd::lab {

namespace {

constexpr std::size_t line_limit = 40u << 20;  // a message of 16 MiB as hexadecimal digits
constexpr std::size_t output_limit = 16u << 20;
constexpr std::size_t event_limit = 1024;
constexpr std::size_t client_limit = 32;

}  // namespace

console::~console() {
    for (source& s : sources_) {
        if (!s.standard) write_output(s);
        if (!s.standard && s.in >= 0) close(s.in);
    }
    if (listen_fd_ >= 0) {
        close(listen_fd_);
        unlink(path_.c_str());
    }
}

void console::add_standard_input() {
    sources_.emplace_back();
    sources_.back().in = STDIN_FILENO;
    sources_.back().standard = true;
}

bool console::listen_on(const std::string& path, std::string& error) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        error = "the path of the control socket is too long";
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    listen_fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    struct stat state = {};
    if (listen_fd_ >= 0 && lstat(path.c_str(), &state) == 0 && S_ISSOCK(state.st_mode) &&
        connect(listen_fd_, generic, sizeof address) != 0 && errno == ECONNREFUSED) {
        unlink(path.c_str());
    }
    if (listen_fd_ >= 0) close(listen_fd_);
    listen_fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    const mode_t mask = umask(0077);
    const bool bound = listen_fd_ >= 0 && bind(listen_fd_, generic, sizeof address) == 0;
    umask(mask);
    if (!bound || listen(listen_fd_, 16) != 0) {
        error = "cannot listen on " + path + ": " + std::strerror(errno);
        if (listen_fd_ >= 0) close(listen_fd_);
        listen_fd_ = -1;
        return false;
    }
    path_ = path;
    fcntl(listen_fd_, F_SETFL, O_NONBLOCK);
    fcntl(listen_fd_, F_SETFD, FD_CLOEXEC);
    return true;
}

void console::poll_entries(std::vector<pollfd>& entries) {
    entries.push_back({sources_.size() < client_limit ? listen_fd_ : -1, POLLIN, 0});
    polled_ = sources_.size();
    for (const source& s : sources_) {
        short events = 0;
        if (!s.ended && !s.wait.active) events |= POLLIN;
        if (!s.output.empty()) events |= POLLOUT;
        entries.push_back({events ? s.in : -1, events, 0});
    }
}

void console::turn(const pollfd* entries, double now) {
    for (std::size_t i = 0; i < polled_; ++i) {
        source& s = sources_[i];
        const short events = entries[1 + i].revents;
        if (events & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) read_input(s);
        run_lines(s, now);
        if (!s.output.empty()) write_output(s);
    }
    if (entries[0].revents) accept_client();
    const auto gone = [](source& s) {
        if (!s.ended || !s.input.empty() || s.wait.active || !s.output.empty()) return false;
        if (!s.standard) close(s.in);
        return true;
    };
    sources_.erase(std::remove_if(sources_.begin(), sources_.end(), gone), sources_.end());
}

void console::accept_client() {
    const int fd = accept(listen_fd_, nullptr, nullptr);
    if (fd < 0) return;
    fcntl(fd, F_SETFL, O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    sources_.emplace_back();
    sources_.back().in = fd;
    sources_.back().mark = control_mark_;
}

void console::read_input(source& s) {
    char chunk[65536];
    const ssize_t n = read(s.in, chunk, sizeof chunk);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
        s.ended = true;
        if (!s.input.empty()) s.input += '\n';
        return;
    }
    s.input.append(chunk, static_cast<std::size_t>(n));
    if (s.scanned > line_limit) {
        s.input.clear();
        s.scanned = 0;
        reply(s, "the line is too long", true, false);
        if (!s.standard) s.ended = true;
    }
}

void console::run_lines(source& s, double now) {
    std::size_t start = 0;
    while (!s.wait.active || wait_is_over(s, now)) {
        const std::size_t end = s.input.find('\n', std::max(start, s.scanned));
        if (end == std::string::npos) {
            s.scanned = s.input.size();
            break;
        }
        const std::string line = s.input.substr(start, end - start);
        start = end + 1;
        line_result result = handler_.handle_line(line);
        if (result.wait.active) {
            s.wait = result.wait;
            s.deadline = now + result.wait.seconds;
            continue;
        }
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        spend(s, next_event_ - 1);
        reply(s, result.reply, true, result.good);
    }
    s.input.erase(0, start);
    s.scanned -= std::min(s.scanned, start);
}

bool console::wait_is_over(source& s, double now) {
    bool done = false;
    if (!s.wait.event.empty()) {
        for (const happened& e : events_) {
            if (e.number <= s.mark || e.name != s.wait.event) continue;
            if (s.wait.agent != 0 && e.agent != s.wait.agent) continue;
            spend(s, e.number);
            done = true;
            break;
        }
        if (!done) done = handler_.already(s.wait);
    }
    if (!done && now < s.deadline) return false;
    if (!done && !s.wait.event.empty()) {
        handler_.wait_failed(s.wait);
        reply(s, "no " + s.wait.event + " within the time", true, false);
    } else {
        reply(s, "", true, true);
    }
    s.wait = wait_request();
    return true;
}

void console::spend(source& s, std::uint64_t number) {
    s.mark = number;
    if (!s.standard) control_mark_ = std::max(control_mark_, number);
}

void console::event(const std::string& name, unsigned agent) {
    events_.push_back({next_event_++, name, agent});
    if (events_.size() > event_limit) events_.pop_front();
}

// A client of the control socket can tell the end of an answer: its last line is "ok" or begins with "error: ".
void console::reply(source& s, const std::string& text, bool finished, bool good) {
    if (s.standard) {
        if (text.empty()) return;
        std::fprintf(stdout, "%s%s\n", good ? "" : "error: ", text.c_str());
        std::fflush(stdout);
        return;
    }
    if (s.output.size() + text.size() > output_limit) s.ended = true;
    if (s.ended && s.output.size() > output_limit) return;
    if (good && !text.empty()) s.output += text + "\n";
    if (finished) s.output += good ? "ok\n" : "error: " + text + "\n";
}

void console::write_output(source& s) {
    const ssize_t n = send(s.in, s.output.data(), s.output.size(), MSG_NOSIGNAL);
    if (n > 0) s.output.erase(0, static_cast<std::size_t>(n));
    if (n < 0 && errno != EAGAIN && errno != EINTR) {
        s.output.clear();
        s.ended = true;
    }
}

}  // namespace ravd::lab

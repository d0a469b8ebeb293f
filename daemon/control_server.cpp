#include "daemon/control_server.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "core/formatted.h"
#include "core/logger.h"
#include "message/status_page.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr std::size_t most_clients = 8;
constexpr std::size_t longest_order = 256;
constexpr std::int64_t patience_ms = 1500;  // with workers that are busy

bool set_address(const std::string& path, sockaddr_un& address) {
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

unique_fd local_socket() { return unique_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)); }

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

// Only the last of them is the daemon's own.
bool make_directories_of(const std::string& path) {
    const std::size_t last = path.rfind('/');
    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (mkdir(path.substr(0, end).c_str(), end == last ? 0700 : 0755) != 0 && errno != EEXIST) return false;
    }
    return true;
}

// The bound socket; none, with errno, when it cannot be had. What a daemon that is gone left behind is replaced.
unique_fd bind_at(const std::string& path) {
    sockaddr_un address{};
    if (!set_address(path, address)) return unique_fd();
    if (!make_directories_of(path)) return unique_fd();
    if (connect(local_socket().get(), generic(address), sizeof address) == 0 || errno == EAGAIN) {
        errno = EADDRINUSE;
        return unique_fd();
    }
    unlink(path.c_str());
    unique_fd listener = local_socket();
    const mode_t mask = umask(0177);
    const bool bound = bind(listener.get(), generic(address), sizeof address) == 0;
    umask(mask);
    if (!bound || listen(listener.get(), static_cast<int>(most_clients)) != 0) return unique_fd();
    return listener;
}

std::string error_object(const char* text) { return formatted("{\"error\":\"%s\"}", text); }

}  // namespace

control_server::~control_server() {
    if (!path_.empty()) unlink(path_.c_str());
}

void control_server::listen_at(const std::string& path) {
    told_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    listener_ = bind_at(path);
    if (listener_ && told_ && std::max(listener_.get(), told_.get()) < FD_SETSIZE) {
        path_ = path;
        return;
    }
    log_warning(process_log, "no control socket at %s: %s\n", path.c_str(), std::strerror(errno));
    listener_.reset();
}

std::int64_t control_server::prepare(fd_set& readable, int& highest) const {
    const auto add = [&](int fd) {
        FD_SET(fd, &readable);
        highest = std::max(highest, fd);
    };
    if (listener_ && clients_.size() < most_clients) add(listener_.get());
    for (const client& each : clients_)
        add(each.fd.get());
    if (deadline_ms_ == 0) return -1;
    add(told_.get());
    return std::max<std::int64_t>(deadline_ms_ - monotonic_ms(), 0);
}

void control_server::serve(const fd_set& readable) {
    const auto ready = [&](const unique_fd& fd) { return fd && FD_ISSET(fd.get(), &readable); };
    for (auto each = clients_.begin(); each != clients_.end();)
        each = !ready(each->fd) || read_line(*each) ? each + 1 : clients_.erase(each);
    if (ready(listener_)) accept_client();
    if (deadline_ms_ == 0) return;
    std::uint64_t count;
    if (ready(told_) && read(told_.get(), &count, sizeof count) < 0) return;
    if (!all_told() && monotonic_ms() < deadline_ms_) return;
    deadline_ms_ = 0;
    const std::string object = status();
    for (auto each = clients_.begin(); each != clients_.end();) {
        const bool stays = answer(*each, object, each->waits);
        each->waits = 0;
        each = stays ? each + 1 : clients_.erase(each);
    }
}

void control_server::accept_client() {
    unique_fd fd(accept(listener_.get(), nullptr, nullptr));
    if (!fd || fd.get() >= FD_SETSIZE) return;
    fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
    fcntl(fd.get(), F_SETFL, O_NONBLOCK);
    clients_.push_back({std::move(fd), {}, 0});
}

// False when the client is done with.
bool control_server::read_line(client& from) {
    char piece[longest_order];
    const ssize_t got = read(from.fd.get(), piece, sizeof piece);
    if (got <= 0) return got < 0 && (errno == EAGAIN || errno == EINTR);
    from.line.append(piece, static_cast<std::size_t>(got));
    for (std::size_t end; (end = from.line.find('\n')) != std::string::npos;) {
        const std::string order = from.line.substr(0, end);
        from.line = from.line.substr(end + 1);
        if (!obey(from, order)) return false;
    }
    return from.line.size() <= longest_order;
}

bool control_server::obey(client& from, const std::string& order) {
    static constexpr char level[] = "log-level ";
    if (order == "status") {
        ++from.waits;
        if (deadline_ms_ != 0) return true;
        deadline_ms_ = monotonic_ms() + patience_ms;
        for (abstract_worker* worker : workers_)
            worker->ask_status(told_.get());
        return true;
    }
    if (std::strncmp(order.c_str(), level, sizeof level - 1) == 0) {
        char* end = nullptr;
        const char* text = order.c_str() + sizeof level - 1;
        const unsigned long mask = std::strtoul(text, &end, 0);
        if (end == text || *end != '\0' || mask > 0xffff) return answer(from, error_object("not a mask"));
        process_log.mask = static_cast<std::uint32_t>(mask);
        return answer(from, formatted("{\"log-level\":%lu}", mask));
    }
    if (order == "reconnect" && reconnect_) {
        reconnect_();
        return answer(from, "{\"reconnect\":true}");
    }
    return answer(from, error_object("no such order"));
}

bool control_server::all_told() const {
    for (const abstract_worker* worker : workers_)
        if (worker->asked()) return false;
    return true;
}

std::string control_server::status() const {
    status_page own;
    own.number("log_level", process_log.mask);
    own.open("workers");
    for (const abstract_worker* worker : workers_) {
        own.open(worker->name());
        own.number("clock_age", worker->clock_age_s());
        own.flag("answers", !worker->asked());
        own.close();
    }
    own.close();
    std::string object = "{" + facts_ + "," + own.take();
    for (const abstract_worker* worker : workers_) {
        const std::string told = worker->told_status();
        if (!told.empty()) object += "," + told;
    }
    return object + "}";
}

// False when the client does not take it: one that reads its answers has room for one.
bool control_server::answer(const client& to, const std::string& object, unsigned times) {
    const std::string line = object + "\n";
    while (times-- > 0)
        if (send(to.fd.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
            return false;
    return true;
}

}  // namespace ravd

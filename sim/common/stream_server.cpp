#include "sim/common/stream_server.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace ravd::sim {
namespace {

constexpr std::size_t link_limit = 200;
constexpr std::size_t output_limit = 16 * 1024 * 1024;  // a client that asks and does not read is let go

// Only a socket that refuses connections is nobody's.
void remove_abandoned(const std::string& path, const sockaddr_un& address) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) return;
    const unique_fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno == ECONNREFUSED)
        unlink(path.c_str());
}

}  // namespace

stream_server::stream_server(event_loop& loop, std::size_t input_limit, reader read)
    : loop_(loop), input_limit_(input_limit), read_(std::move(read)) {}

stream_server::~stream_server() {
    for (auto& [connection, one] : links_) {
        flush(connection, one);
        loop_.forget(one.fd.get());
    }
    if (!listener_) return;
    loop_.forget(listener_.get());
    unlink(path_.c_str());
}

bool stream_server::open(const std::string& path, std::string& reason) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        reason = path + ": too long for a socket, whose path may have " + std::to_string(sizeof address.sun_path - 1) +
                 " bytes; use a shorter directory";
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    remove_abandoned(path, address);
    unique_fd fresh(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const mode_t mask = umask(0077);
    const bool bound = fresh && bind(fresh.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    umask(mask);
    if (!bound || listen(fresh.get(), 32) != 0) {
        reason = "cannot listen on " + path + ": " + std::strerror(errno);
        return false;
    }
    path_ = path;
    listener_ = std::move(fresh);
    loop_.watch(listener_.get(), POLLIN, [this](short) { accept_one(); });
    return true;
}

void stream_server::accept_one() {
    unique_fd fd(accept(listener_.get(), nullptr, nullptr));
    if (!fd || links_.size() >= link_limit) return;
    fcntl(fd.get(), F_SETFL, O_NONBLOCK);
    fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
    const std::uint64_t connection = next_++;
    loop_.watch(fd.get(), POLLIN, [this, connection](short events) { serve(connection, events); });
    links_[connection].fd = std::move(fd);
}

void stream_server::serve(std::uint64_t connection, short events) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    link& one = found->second;
    if (events & POLLOUT) flush(connection, one);
    if ((events & ~POLLOUT) && !one.ended && !one.held && !read_once(connection, one)) return;
    // The peer is gone altogether: nothing can be said to it any more.
    const bool deaf = (events & (POLLERR | POLLNVAL)) || ((events & POLLHUP) && (one.ended || one.held));
    if (deaf || (one.last && one.output.empty())) return end(connection);
    follow(one);
}

bool stream_server::read_once(std::uint64_t connection, link& one) {
    char piece[65536];
    const ssize_t n = recv(one.fd.get(), piece, sizeof piece, 0);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (n <= 0)
        one.ended = true;
    else if (!one.last)
        one.input.append(piece, static_cast<std::size_t>(n));
    if (one.last) {
        if (one.ended) end(connection);
        return !one.ended;
    }
    const bool more = read_(connection, one.input, one.ended);
    if (more && one.input.size() <= input_limit_) return true;
    end(connection);
    return false;
}

// Never ends the connection: the caller may be a reader that still holds its input.
void stream_server::send(std::uint64_t connection, const std::string& bytes, bool last) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    link& one = found->second;
    one.output += bytes;
    one.last |= last;
    if (one.output.size() > output_limit) {
        one.output.clear();
        one.last = true;
    }
    flush(connection, one);
}

void stream_server::hold(std::uint64_t connection, bool on) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    found->second.held = on;
    follow(found->second);
}

void stream_server::flush(std::uint64_t connection, link& one) {
    while (!one.output.empty()) {
        const ssize_t n = ::send(one.fd.get(), one.output.data(), one.output.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) {
            one.output.clear();
            one.last = true;
        }
        if (n <= 0) break;
        one.output.erase(0, static_cast<std::size_t>(n));
    }
    if (one.output.empty() && one.last) loop_.soon([this, connection] { end(connection); });
    follow(one);
}

void stream_server::follow(link& one) {
    const bool reads = !one.held && !one.ended;
    loop_.change(one.fd.get(), static_cast<short>((reads ? POLLIN : 0) | (one.output.empty() ? 0 : POLLOUT)));
}

void stream_server::end(std::uint64_t connection) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    loop_.forget(found->second.fd.get());
    auto gone = links_.extract(found);
    if (!gone.mapped().ended) read_(connection, gone.mapped().input, true);
}

}  // namespace ravd::sim

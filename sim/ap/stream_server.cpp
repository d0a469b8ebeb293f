#include "sim/ap/stream_server.h"

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

}  // namespace

stream_server::stream_server(event_loop& loop, std::string path, std::size_t input_limit, reader read)
    : loop_(loop), path_(std::move(path)), input_limit_(input_limit), read_(std::move(read)) {}

stream_server::~stream_server() {
    while (!links_.empty())
        end(links_.begin()->first);
    if (listener_ < 0) return;
    loop_.forget(listener_);
    close(listener_);
    unlink(path_.c_str());
}

bool stream_server::open(std::string& reason) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
        reason = path_ + ": longer than the " + std::to_string(sizeof address.sun_path - 1) +
                 " bytes that a socket's path may have; use a shorter directory";
        return false;
    }
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    struct stat info {};
    if (lstat(path_.c_str(), &info) == 0 && S_ISSOCK(info.st_mode)) unlink(path_.c_str());
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener_ < 0 || bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_, 32) != 0) {
        reason = path_ + ": " + std::strerror(errno);
        if (listener_ >= 0) close(listener_);
        listener_ = -1;
        return false;
    }
    loop_.watch(listener_, [this] { accept_one(); });
    return true;
}

void stream_server::accept_one() {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) return;
    if (links_.size() >= link_limit) {
        close(fd);
        return;
    }
    const std::uint64_t connection = next_++;
    links_[connection].fd = fd;
    loop_.watch(fd, [this, connection] { serve(connection); });
}

void stream_server::serve(std::uint64_t connection) {
    flush(connection);
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    link& one = found->second;
    char piece[65536];
    const ssize_t n = recv(one.fd, piece, sizeof piece, 0);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) return end(connection);
    if (one.last) return;
    one.input.append(piece, static_cast<std::size_t>(n));
    const bool more = read_(connection, one.input);
    // The reader may have ended it.
    if (links_.count(connection) != 0 && (!more || one.input.size() > input_limit_)) end(connection);
}

void stream_server::send(std::uint64_t connection, const std::string& bytes, bool last) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    found->second.output += bytes;
    found->second.last |= last;
    // Never closed here: the caller may be a reader that still holds the connection's input.
    if (found->second.output.size() > output_limit) {
        found->second.output.clear();
        found->second.last = true;
    }
    flush(connection);
}

void stream_server::flush(std::uint64_t connection) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    link& one = found->second;
    while (!one.output.empty()) {
        const ssize_t n = ::send(one.fd, one.output.data(), one.output.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) one.output.clear();
        if (n <= 0) break;
        one.output.erase(0, static_cast<std::size_t>(n));
    }
    loop_.watch(
        one.fd, [this, connection] { serve(connection); }, !one.output.empty());
    if (one.output.empty() && one.last) shutdown(one.fd, SHUT_RDWR);
}

void stream_server::end(std::uint64_t connection) {
    const auto found = links_.find(connection);
    if (found == links_.end()) return;
    loop_.forget(found->second.fd);
    close(found->second.fd);
    links_.erase(found);
}

}  // namespace ravd::sim

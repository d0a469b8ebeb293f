#include "tools/ctl/control_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/monotonic.h"
#include "platform/unique_fd.h"

namespace ravd::ctl {
namespace {

constexpr std::int64_t patience_ms = 5000;
constexpr std::size_t longest_answer = 1024 * 1024;

constexpr char silence[] = "the daemon does not answer: its main thread is stuck, mostly in a log that nobody reads";

outcome explain(const std::string& path, std::string& answer) {
    switch (errno) {
        case ENOENT:
            answer = "no daemon runs: there is no " + path;
            return no_daemon;
        case ECONNREFUSED:
            answer = "no daemon runs: " + path + " was left behind";
            return no_daemon;
        case EACCES:
        case EPERM:
            answer = "no permission to use " + path + ": only its owner, mostly root, may";
            return no_permission;
        case ENOTSOCK:
            answer = path + " is not a socket";
            return no_daemon;
        case EAGAIN:
            answer = silence;
            return no_answer;
        default:
            answer = path + ": " + std::strerror(errno);
            return no_daemon;
    }
}

}  // namespace

outcome ask(const std::string& path, const std::string& order, std::string& answer) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        answer = "the path of the socket is too long";
        return wrong_use;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    // Where many ask a daemon that is stuck, the connection itself would wait for it.
    const timeval patience = {patience_ms / 1000, 0};
    setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return explain(path, answer);
    const std::string line = order + "\n";
    if (send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
        return explain(path, answer);

    answer.clear();
    const std::int64_t deadline = monotonic_ms() + patience_ms;
    for (std::int64_t left; (left = deadline - monotonic_ms()) > 0 && answer.size() < longest_answer;) {
        pollfd waiting{fd.get(), POLLIN, 0};
        if (poll(&waiting, 1, static_cast<int>(left)) < 0 && errno != EINTR) break;
        char piece[4096];
        const ssize_t got = recv(fd.get(), piece, sizeof piece, MSG_DONTWAIT);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (got <= 0) {
            answer = "the daemon ended meanwhile, or has too many to answer";
            return no_answer;
        }
        answer.append(piece, static_cast<std::size_t>(got));
        if (answer.back() != '\n') continue;
        answer.pop_back();
        return answered;
    }
    answer = silence;
    return no_answer;
}

}  // namespace ravd::ctl

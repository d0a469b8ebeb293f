#include "platform/sim/socket_io.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace ravd::sim {

unique_fd connect_unix(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return unique_fd();
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    unique_fd fd(socket(AF_UNIX, SOCK_STREAM, 0));
    if (!fd) return fd;
    fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
    int rc;
    do
        rc = connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    while (rc < 0 && errno == EINTR);
    if (rc < 0) fd.reset();
    return fd;
}

bool send_all(int fd, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t n = send(fd, bytes, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::size_t receive_some(int fd, char* bytes, std::size_t least, std::size_t most) {
    std::size_t got = 0;
    while (got < least) {
        const ssize_t n = recv(fd, bytes + got, most - got, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<std::size_t>(n);
    }
    return got;
}

bool receive_all(int fd, char* bytes, std::size_t size) { return receive_some(fd, bytes, size, size) == size; }

}  // namespace ravd::sim

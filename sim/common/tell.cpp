#include "sim/common/tell.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/sim/socket_io.h"

namespace ravd::sim {
namespace {

// False at the end of the connection.
bool receive_line(int fd, std::string& line) {
    line.clear();
    for (char c; receive_all(fd, &c, 1);) {
        if (c == '\n') return true;
        line += c;
    }
    return false;
}

}  // namespace

int tell(const char* program, const std::string& socket_path, const std::string& command) {
    const unique_fd socket = connect_unix(socket_path);
    const std::string request = command + "\n";
    if (!socket || !send_all(socket.get(), request.data(), request.size())) {
        std::fprintf(stderr, "%s: %s: %s\n", program, socket_path.c_str(), std::strerror(errno));
        return 2;
    }
    // An empty line, or a comment, has no answer.
    ::shutdown(socket.get(), SHUT_WR);
    std::string line;
    while (receive_line(socket.get(), line)) {
        std::printf("%s\n", line.c_str());
        if (line == "ok" || line.compare(0, 3, "ok ") == 0) return 0;
        if (line.compare(0, 5, "error") == 0) return 1;
    }
    return 2;
}

}  // namespace ravd::sim

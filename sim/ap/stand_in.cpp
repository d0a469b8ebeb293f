// Stand-in for iwpriv and wpa_cli: hands its arguments to the simulated access point and prints its answer. Installed
// under the names of the commands it stands for.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/sim/socket_io.h"
#include "platform/unique_fd.h"

int main(int argc, char** argv) {
    const char* directory = std::getenv("RAVD_SIM_DIR");
    if (!directory || argc < 1) {
        std::fprintf(stderr, "RAVD_SIM_DIR is not set: it names the directory of the simulated access point\n");
        return 255;
    }
    const char* slash = std::strrchr(argv[0], '/');
    std::string request = slash ? slash + 1 : argv[0];
    request += '\0';
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '\0') continue;  // an empty argument would end the request
        request += argv[i];
        request += '\0';
    }
    request += '\0';
    const ravd::unique_fd socket = ravd::sim::connect_unix(std::string(directory) + "/command.sock");
    if (!socket || !ravd::sim::send_all(socket.get(), request.data(), request.size())) {
        std::fprintf(stderr, "%s: no simulated access point in %s\n", argv[0], directory);
        return 255;
    }
    char status = 1;
    if (!ravd::sim::receive_all(socket.get(), &status, 1)) return 255;
    char piece[4096];
    ssize_t n;
    while ((n = read(socket.get(), piece, sizeof piece)) > 0)
        std::fwrite(piece, 1, static_cast<std::size_t>(n), stdout);
    return static_cast<unsigned char>(status);
}

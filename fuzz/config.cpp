// The agent configuration file.
//
// Aims at: daemon/agent_config.cpp daemon/service_url.cpp

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "daemon/agent_config.h"
#include "fuzz/check.h"

namespace {

template <std::size_t N>
void check_text(const char (&text)[N], const char* unwanted) {
    const std::size_t length = strnlen(text, N);
    check(length < N);
    check(std::strcspn(text, unwanted) == length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int fd = memfd_create("config", MFD_CLOEXEC);
    static const std::string path = "/proc/self/fd/" + std::to_string(fd);
    check(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));

    ravd::agent_config config{};
    ravd::read_config_file(path.c_str(), config);
    for (const ravd::link_config& link : config.links) {
        check_text(link.location, "\n");
        check_text(link.host, "\r\n:");
        check_text(link.path, "\r\n");
        check((link.path[0] == '/') == (link.enabled == 1));
        check(link.initial_connection_delay <= 1000000 && link.max_connection_delay <= 1000000);
    }
    return 0;
}

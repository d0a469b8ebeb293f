// The whole of --setup.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "hostd/settings.h"
#include "hostd/setup.h"

namespace ravd::hostd {

int run_setup(const std::string& path) {
    std::string text;
    std::string reason;
    setup_description wanted;
    bool done = false;
    if (!read_whole_file(path, text)) {
        reason = std::strerror(errno);
    } else if (parse_setup(text, wanted, reason)) {
        const auto kernel = open_nl80211();
        const auto print = [](const std::string& line) { std::puts(line.c_str()); };
        if (kernel)
            done = make_interfaces(wanted, *kernel, kernel_links(), print, reason);
        else
            reason = std::string("the kernel's nl80211: ") + std::strerror(errno);
    }
    if (!done) std::fprintf(stderr, "ravd-hostd: %s: %s\n", path.c_str(), reason.c_str());
    return done ? 0 : 1;
}

}  // namespace ravd::hostd

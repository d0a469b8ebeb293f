// ravd-hostd: configuration service and network daemon of an ordinary Linux access point.
#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/logger.h"
#include "hostd/host.h"
#include "hostd/setup.h"
#include "platform/monotonic.h"
#include "platform/quarn_log.h"
#include "platform/system.h"
#include "platform/unique_fd.h"
#include "tools/common/options.h"

namespace ravd::hostd {
namespace {

constexpr const char* usage =
    "usage: ravd-hostd [--config FILE] [--bus DIR] [--verbose]\n"
    "       ravd-hostd --check [--config FILE]\n"
    "       ravd-hostd --setup FILE\n"
    "Gives the agent ravd its configuration on an access point with hostapd and the kernel's own drivers, and carries\n"
    "out what the agent orders.\n"
    "  --config FILE  settings (/etc/ravd/hostd.conf); without the file all is found out\n"
    "  --bus DIR      the bus (/run/ravd-bus)\n"
    "  --verbose      logs each request and event\n"
    "  --check        reads the settings, says whether they are usable, and ends\n"
    "  --setup FILE   makes the interfaces of the description in FILE, and ends\n";

// SIGTERM and SIGINT, as a descriptor that is readable once one of them came. Not by ppoll: glibc 2.36 for 32 bits
// takes its 64-bit time limit for one of 32 bits when built with _FORTIFY_SOURCE, and returns at once.
unique_fd end_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    return unique_fd(::signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool load_settings(const std::string& path, bool named, settings& own) {
    std::string text;
    std::string error;
    if (!read_whole_file(path, text)) {
        if (!named && errno == ENOENT) return true;
        std::fprintf(stderr, "ravd-hostd: %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    if (parse_settings(text, own, error)) return true;
    std::fprintf(stderr, "ravd-hostd: %s: %s\n", path.c_str(), error.c_str());
    return false;
}

int serve(const settings& own, const std::string& bus) {
    const std::unique_ptr<nl80211_port> kernel = open_nl80211();
    if (!kernel) {
        std::fprintf(stderr, "ravd-hostd: the kernel's nl80211: %s\n", std::strerror(errno));
        return 1;
    }
    const unique_fd end = end_signals();
    if (!end) {
        std::fprintf(stderr, "ravd-hostd: no descriptor for signals: %s\n", std::strerror(errno));
        return 1;
    }
    host all(own, *kernel, bus);
    std::vector<pollfd> entries{{end.get(), POLLIN, 0}};
    while (!entries.front().revents) {
        all.turn(monotonic_ms());
        entries.resize(1);
        const std::vector<pollfd>& others = all.descriptors();
        entries.insert(entries.end(), others.begin(), others.end());
        entries.front().revents = 0;  // stays so when the wait fails
        ::poll(entries.data(), entries.size(), all.rest_ms(monotonic_ms()));
    }
    all.reset();
    return 0;
}

int run(int argc, char** argv) {
    std::string config;
    std::string bus = sys::device_path("/run/ravd-bus");
    std::string setup;
    bool check = false;
    bool verbose = false;
    std::vector<std::string> words;
    std::string error;
    auto result = read_options(
        argc, argv,
        {text_option("--config", 'f', config), text_option("--bus", 0, bus), text_option("--setup", 0, setup),
         flag_option("--check", 0, check), flag_option("--verbose", 'v', verbose)},
        words, error);
    if (result == options_result::run && !words.empty()) {
        result = options_result::wrong;
        error = "\"" + words[0] + "\" is not known.";
    }
    if (const auto status = end_early(result, "ravd-hostd", usage, error)) return *status;
    process_log.name = "ravd-hostd";
    process_log.mask = log_error_bit | log_warning_bit | log_info_bit | (verbose ? log_debug_bit : 0);
    quarn_log_set_daemonname("ravd-hostd");
    quarn_log_init_rotate("RAVD-HOSTD");
    if (!setup.empty()) return run_setup(setup);
    settings own;
    if (!load_settings(config.empty() ? "/etc/ravd/hostd.conf" : config, !config.empty(), own)) return 1;
    if (check) {
        std::puts("usable");
        return 0;
    }
    return serve(own, bus);
}

}  // namespace
}  // namespace ravd::hostd

int main(int argc, char** argv) { return ravd::hostd::run(argc, argv); }

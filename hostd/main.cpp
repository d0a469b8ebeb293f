// ravd-hostd: configuration service and network daemon of an ordinary Linux access point.
#include <poll.h>

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

volatile std::sig_atomic_t stop = 0;

extern "C" void ravd_hostd_stop(int) { stop = 1; }

// Both signals arrive only while the program rests.
sigset_t block_signals() {
    struct sigaction action {};
    action.sa_handler = ravd_hostd_stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t ends;
    sigset_t before;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, &before);
    return before;
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
    const sigset_t waiting = block_signals();
    host all(own, *kernel, bus);
    while (!stop) {
        all.turn(monotonic_ms());
        std::vector<pollfd> entries = all.descriptors();
        const int rest = all.rest_ms(monotonic_ms());
        const timespec limit{rest / 1000, rest % 1000 * 1000000L};
        ::ppoll(entries.data(), entries.size(), &limit, &waiting);
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

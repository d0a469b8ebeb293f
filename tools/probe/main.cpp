// ravd-probe: shows what the daemon sees of an access point, through its own driver, and which call of the device fails
// where something is missing. ravd-probe-sim is the same program on the simulation's port.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/logger.h"
#include "core/version.h"
#include "core/worker.h"
#include "daemon/config_judgement.h"
#include "driver/board/board.h"
#include "platform/quarn_log.h"
#include "tools/probe/checks.h"
#include "tools/probe/view.h"

namespace {

constexpr const char usage[] =
    "usage: ravd-probe [--scan [CHANNEL,...]] [--rrm-scan CHANNEL,...] [--wait SECONDS] [--verbose]\n"
    "       ravd-probe --config FILE\n"
    "       ravd-probe --version\n"
    "\n"
    "Asks the device for everything that the daemon needs, prints the answers, then the radios, VAPs and stations as\n"
    "the daemon sees them. --scan also runs an active scan (all channels when none is named), --rrm-scan an RRM\n"
    "scan of the lowest channel of each band; both disturb the stations for a moment. --wait sets how long the scan\n"
    "may take, --verbose writes the daemon's own log lines to standard error. While the daemon runs it holds the bus\n"
    "number that the probe needs: stop it first.\n"
    "--config asks nothing of the device: it judges each line of a configuration file of the daemon and says what the\n"
    "daemon will do with it.\n"
    "Status: 0 everything answered, 1 something failed or the configuration makes the daemon do nothing, 2 wrong "
    "use.\n";

struct arguments {
    bool scan = false;
    bool active = true;
    bool verbose = false;
    unsigned wait_s = 0;
    ravd::channel_set channels;
    const char* config = nullptr;
};

bool read_channels(const char* text, ravd::channel_set& channels) {
    while (*text) {
        char* end = nullptr;
        const unsigned long channel = std::strtoul(text, &end, 10);
        if (end == text || channel == 0 || channel > 65535 || (*end != ',' && *end != '\0')) return false;
        channels.insert(static_cast<std::uint32_t>(channel));
        text = *end == ',' ? end + 1 : end;
    }
    return true;
}

bool read_arguments(int argc, char** argv, arguments& given) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool has_value = i + 1 < argc && std::isdigit(static_cast<unsigned char>(argv[i + 1][0]));
        if (word == "--scan" || (word == "--rrm-scan" && has_value)) {
            given.scan = true;
            given.active = word == "--scan";
            if (has_value && !read_channels(argv[++i], given.channels)) return false;
        } else if (word == "--wait" && has_value) {
            given.wait_s = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
        } else if (word == "--config" && argc == 3 && i + 1 < argc) {
            given.config = argv[++i];
        } else if (word == "--verbose") {
            given.verbose = true;
        } else {
            return false;
        }
    }
    return true;
}

// How many failed.
int print_findings(const std::vector<ravd::probe::finding>& found) {
    int failed = 0;
    for (const ravd::probe::finding& one : found) {
        std::printf("%-4s %s: %s\n", one.good ? "ok" : "FAIL", one.what.c_str(), one.text.c_str());
        failed += one.good ? 0 : 1;
    }
    std::fflush(stdout);
    return failed;
}

int judge_config(const char* path) {
    const ravd::config_judgement judgement = ravd::judge_config_file(path);
    for (const ravd::config_finding& found : judgement.findings) {
        if (found.line == 0)
            std::printf("%s: %s\n", path, found.text.c_str());
        else
            std::printf("%s:%d: %s\n", path, found.line, found.text.c_str());
    }
    std::printf("%s\n", judgement.plan.c_str());
    return judgement.works ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    arguments given;
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) return std::printf("ravd-probe %s\n", ravd::version()) < 0;
    if (!read_arguments(argc, argv, given)) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (given.config) return judge_config(given.config);
    if (given.verbose) {
        quarn_log_init_rotate("RAVD-PROBE");
        ravd::process_log.mask = 0xffff;
    }
    int failed = print_findings(ravd::probe::check_bus());
    const bool configured = failed == 0;
    static const ravd::run_flag running{true};
    ravd::driver_realtek& driver = ravd::realtek_driver(&running);
    // Asked whether hostapd runs or not: what is missing is to be seen.
    driver.set_hostapd_running(true);
    driver.reset_context();
    // A service that hangs would hold up each of the table's many requests for 2 s.
    if (configured) driver.init_interface_context();
    failed += print_findings(ravd::probe::run_checks(driver, configured));
    if (configured)
        ravd::probe::print_view(driver);
    else
        std::printf("radios and VAPs are not shown, since their settings cannot be read\n");
    if (given.scan && ravd::probe::print_scan(driver, given.active, given.channels, given.wait_s) != 0) {
        std::printf("FAIL scan results could not be read\n");
        ++failed;
    }
    std::printf("%d failed\n", failed);
    return failed == 0 ? 0 : 1;
}

// ravd-probe: shows what the daemon sees of an access point, through its own driver, and which call of the device fails
// where something is missing. ravd-probe-sim is the same program on the simulation's port.
#include <cstdio>
#include <string>
#include <vector>

#include "core/logger.h"
#include "core/worker.h"
#include "daemon/config_judgement.h"
#include "driver/board/board.h"
#include "platform/quarn_log.h"
#include "tools/common/options.h"
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

constexpr unsigned longest_wait_s = 3600;

struct arguments {
    bool scan = false;
    bool active = true;
    bool verbose = false;
    unsigned wait_s = 0;
    ravd::channel_set channels;
    std::string config;

    ravd::options_result read(int argc, char** argv, std::string& error);
    bool take_scan(bool is_active, const std::string& list);
};

bool arguments::take_scan(bool is_active, const std::string& list) {
    scan = true;
    active = is_active;
    std::vector<int> numbers;
    if (!ravd::parse_numbers(list, 1, 65535, numbers)) return false;
    for (const int channel : numbers)
        channels.insert(static_cast<std::uint32_t>(channel));
    return is_active || !numbers.empty();
}

ravd::options_result arguments::read(int argc, char** argv, std::string& error) {
    const char* const list = "channel numbers, as in 1,6,11";
    const std::vector<ravd::command_option> known = {
        {"--scan", 0, ravd::option_value::number, list,
         [this](const std::string& text) { return take_scan(true, text); }},
        {"--rrm-scan", 0, ravd::option_value::one, list,
         [this](const std::string& text) { return take_scan(false, text); }},
        ravd::number_option("--wait", 0, "a number of seconds up to 3600", 0, longest_wait_s, wait_s),
        ravd::text_option("--config", 0, config),
        ravd::flag_option("--verbose", 0, verbose),
    };
    std::vector<std::string> words;
    const ravd::options_result result = ravd::read_options(argc, argv, known, words, error);
    if (result != ravd::options_result::run) return result;
    if (!words.empty()) error = "unexpected argument " + words[0];
    if (!config.empty() && argc != 3) error = "--config stands alone";
    return error.empty() ? ravd::options_result::run : ravd::options_result::wrong;
}

// How many failed.
int print_findings(const std::vector<ravd::finding>& found) {
    int failed = 0;
    for (const ravd::finding& one : found) {
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
    std::string error;
    const auto result = given.read(argc, argv, error);
    if (const auto status = ravd::end_early(result, "ravd-probe", usage, error)) return *status;
    if (!given.config.empty()) return judge_config(given.config.c_str());
    if (given.verbose) {
        quarn_log_init_rotate("RAVD-PROBE");
        ravd::process_log.mask = 0xffff;
    }
    int failed = print_findings(ravd::check_bus());
    const bool configured = failed == 0;
    static const ravd::run_flag running{true};
    ravd::driver_realtek& driver = ravd::realtek_driver(&running);
    // Asked whether hostapd runs or not: what is missing is to be seen.
    driver.set_hostapd_running(true);
    driver.reset_context();
    // A service that hangs would hold up each of the table's many requests for 2 s.
    if (configured) driver.init_interface_context();
    failed += print_findings(ravd::run_checks(driver, configured));
    if (configured)
        ravd::print_view(driver);
    else
        std::printf("radios and VAPs are not shown, since their settings cannot be read\n");
    if (given.scan && ravd::print_scan(driver, given.active, given.channels, given.wait_s) != 0) {
        std::printf("FAIL scan results could not be read\n");
        ++failed;
    }
    std::printf("%d failed\n", failed);
    return failed == 0 ? 0 : 1;
}

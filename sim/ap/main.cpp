// ravd-sim-ap: a whole access point without hardware, described by a scenario file.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "sim/ap/simulator.h"
#include "sim/common/tell.h"
#include "tools/common/options.h"

namespace {

using namespace ravd::sim;

constexpr const char usage[] =
    "usage: ravd-sim-ap SCENARIO.json --dir DIR [--speed N] [--quiet] [--no-hostapd] [--exit-on-eof]\n"
    "       ravd-sim-ap SCENARIO.json --check\n"
    "       ravd-sim-ap --dir DIR --tell COMMAND...\n"
    "       ravd-sim-ap --help | --version\n"
    "\n"
    "Runs the access point of a scenario in a directory; commands are read from standard input and from\n"
    "DIR/control.sock. --speed makes scans N times as fast. --check only reads the scenario. --tell gives one\n"
    "command to the access point that runs in DIR and prints its answer (status 0: ok, 1: error).\n";

struct arguments {
    std::string scenario_path;
    simulator_options options;
    double speed = 0;
    bool check = false;
    std::string command;  // for the access point that runs in the directory
};

bool read_speed(const std::string& text, double& speed) {
    char* end = nullptr;
    speed = std::strtod(text.c_str(), &end);
    return *end == '\0' && speed > 0;
}

ravd::options_result read_arguments(int argc, char** argv, arguments& given, std::string& error) {
    using namespace ravd;
    bool no_hostapd = false;
    const std::vector<command_option> known = {
        text_option("--dir", 0, given.options.directory),
        {"--speed", 0, option_value::one, "a number above 0",
         [&](const std::string& text) { return read_speed(text, given.speed); }},
        flag_option("--quiet", 0, given.options.quiet),
        flag_option("--no-hostapd", 0, no_hostapd),
        flag_option("--exit-on-eof", 0, given.options.exit_on_eof),
        flag_option("--check", 0, given.check),
        {"--tell", 0, option_value::rest, "a command",
         [&](const std::string& text) { return !(given.command = text).empty(); }},
    };
    std::vector<std::string> words;
    const options_result result = read_options(argc, argv, known, words, error);
    if (result != options_result::run) return result;
    given.options.hostapd_at_start = !no_hostapd;
    const bool told = !given.command.empty();
    if (words.size() > (told ? 0 : 1)) error = "unexpected argument " + words.back();
    if (words.empty() && !told) error = "a scenario is missing";
    if (given.options.directory.empty() && !given.check) error = "--dir is missing";
    if (!words.empty()) given.scenario_path = words[0];
    return error.empty() ? options_result::run : options_result::wrong;
}

}  // namespace

int main(int argc, char** argv) {
    arguments given;
    std::string reason;
    const ravd::options_result result = read_arguments(argc, argv, given, reason);
    if (const auto status = ravd::end_early(result, "ravd-sim-ap", usage, reason)) return *status;
    if (!given.command.empty()) return tell("ravd-sim-ap", given.options.directory + "/control.sock", given.command);
    scenario wanted;
    if (!load_scenario(given.scenario_path, wanted, reason)) {
        std::fprintf(stderr, "ravd-sim-ap: %s\n", reason.c_str());
        return 1;
    }
    if (given.check) {
        std::printf("%s: \"%s\" is usable\n", given.scenario_path.c_str(), wanted.name.c_str());
        return 0;
    }
    if (given.speed > 0) wanted.scan_speed = given.speed;
    simulator access_point(wanted, given.options);
    if (!access_point.open(reason)) {
        std::fprintf(stderr, "ravd-sim-ap: %s\n", reason.c_str());
        return 1;
    }
    access_point.run();
    return 0;
}

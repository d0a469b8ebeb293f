// ravd-sim-ap: a whole access point without hardware, described by a scenario file.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "sim/ap/generate.h"
#include "sim/ap/simulator.h"
#include "sim/common/tell.h"
#include "tools/common/number.h"
#include "tools/common/options.h"

namespace {

using namespace ravd::sim;

constexpr const char usage[] =
    "usage: ravd-sim-ap SCENARIO.json --dir DIR [--air DIR] [--speed N] [--quiet] [--no-hostapd] [--exit-on-eof]\n"
    "       ravd-sim-ap SCENARIO.json --check\n"
    "       ravd-sim-ap --dir DIR --tell COMMAND...\n"
    "       ravd-sim-ap --generate building|office|street:NUMBER [--seed N] [DIR]\n"
    "       ravd-sim-ap --help | --version\n"
    "\n"
    "Runs the access point of a scenario in a directory; commands are read from standard input and from\n"
    "DIR/control.sock. --speed makes scans N times as fast. --check only reads the scenario. --tell gives one\n"
    "command to the access point that runs in DIR and prints its answer (status 0: ok, 1: error). --air puts the\n"
    "access point among the others of that directory. --generate writes the scenarios of a building into DIR.\n";

struct arguments {
    std::string scenario_path;
    simulator_options options;
    double speed = 0;
    bool check = false;
    std::string generate;  // a kind and a number
    int seed = 1;
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
        text_option("--air", 0, given.options.air),
        {"--speed", 0, option_value::one, "a number above 0",
         [&](const std::string& text) { return read_speed(text, given.speed); }},
        flag_option("--quiet", 0, given.options.quiet),
        flag_option("--no-hostapd", 0, no_hostapd),
        flag_option("--exit-on-eof", 0, given.options.exit_on_eof),
        flag_option("--check", 0, given.check),
        text_option("--generate", 0, given.generate),
        {"--seed", 0, option_value::one, "a number from 0 to 1000000000",
         [&](const std::string& text) { return ravd::parse_number(text, 0, 1000000000, given.seed); }},
        {"--tell", 0, option_value::rest, "a command",
         [&](const std::string& text) { return !(given.command = text).empty(); }},
    };
    std::vector<std::string> words;
    const options_result result = read_options(argc, argv, known, words, error);
    if (result != options_result::run) return result;
    given.options.hostapd_at_start = !no_hostapd;
    const bool told = !given.command.empty();
    if (words.size() > (told ? 0 : 1)) error = "unexpected argument " + words.back();
    const bool generates = !given.generate.empty();
    if (words.empty() && !told && !generates) error = "a scenario is missing";
    if (given.options.directory.empty() && !given.check && !generates) error = "--dir is missing";
    if (!words.empty()) given.scenario_path = words[0];
    return error.empty() ? options_result::run : options_result::wrong;
}

int generate(const arguments& given) {
    building_kind kind = building_kind::building;
    int count = 0;
    std::string reason;
    if (!parse_building(given.generate, kind, count)) {
        std::fprintf(stderr, "ravd-sim-ap: --generate takes building, office or street, a colon and 1 to %d\n",
                     building_size_limit);
        return 2;
    }
    const std::string directory = given.scenario_path.empty() ? "." : given.scenario_path;
    const building made = make_building(kind, count, static_cast<std::uint32_t>(given.seed));
    const std::size_t written = write_scenarios(made, directory, reason);
    if (written == 0) {
        std::fprintf(stderr, "ravd-sim-ap: %s\n", reason.c_str());
        return 1;
    }
    std::printf("%zu scenarios in %s: %zu stations, %zu networks of strangers\n", written, directory.c_str(),
                made.stations.size(), made.strangers.size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    arguments given;
    std::string reason;
    const ravd::options_result result = read_arguments(argc, argv, given, reason);
    if (const auto status = ravd::end_early(result, "ravd-sim-ap", usage, reason)) return *status;
    if (!given.command.empty()) return tell("ravd-sim-ap", given.options.directory + "/control.sock", given.command);
    if (!given.generate.empty()) return generate(given);
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

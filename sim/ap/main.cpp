// ravd-sim-ap: a whole access point without hardware, described by a scenario file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/sim/socket_io.h"
#include "sim/ap/simulator.h"

namespace {

using namespace ravd::sim;

constexpr const char usage[] =
    "usage: ravd-sim-ap SCENARIO.json --dir DIR [--speed N] [--quiet] [--no-hostapd] [--exit-on-eof]\n"
    "       ravd-sim-ap SCENARIO.json --check\n"
    "       ravd-sim-ap --dir DIR --tell COMMAND...\n"
    "\n"
    "Runs the access point of a scenario in a directory; commands are read from standard input and from\n"
    "DIR/control.sock. --speed makes scans N times as fast. --check only reads the scenario. --tell gives one\n"
    "command to the access point that runs in DIR and prints its answer (status 0: ok, 1: error).\n";

struct arguments {
    std::string scenario_path;
    simulator_options options;
    double speed = 0;
    bool check = false;
    bool tell = false;
    std::string command;
};

bool read_arguments(int argc, char** argv, arguments& given) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i] ? argv[i] : "";
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (word == "--dir" && value)
            given.options.directory = argv[++i];
        else if (word == "--speed" && value && std::atof(value) > 0)
            given.speed = std::atof(argv[++i]);
        else if (word == "--quiet")
            given.options.quiet = true;
        else if (word == "--no-hostapd")
            given.options.hostapd_at_start = false;
        else if (word == "--exit-on-eof")
            given.options.exit_on_eof = true;
        else if (word == "--check")
            given.check = true;
        else if (word == "--tell" && value) {
            given.tell = true;
            for (++i; i < argc; ++i)
                given.command += (given.command.empty() ? "" : " ") + std::string(argv[i]);
        } else if (word[0] != '-' && given.scenario_path.empty())
            given.scenario_path = word;
        else
            return false;
    }
    if (given.tell) return !given.options.directory.empty();
    return !given.scenario_path.empty() && (given.check || !given.options.directory.empty());
}

int tell(const arguments& given) {
    const std::string path = given.options.directory + "/control.sock";
    const int fd = connect_unix(path);
    const std::string line = given.command + "\n";
    if (fd < 0 || !send_all(fd, line.data(), line.size())) {
        std::fprintf(stderr, "ravd-sim-ap: %s: %s\n", path.c_str(), std::strerror(errno));
        return 2;
    }
    std::string answer;
    for (char c; receive_all(fd, &c, 1) && c != '\n';)
        answer += c;
    close(fd);
    std::printf("%s\n", answer.c_str());
    return answer.compare(0, 2, "ok") == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) return std::fputs(usage, stdout) < 0;
    arguments given;
    if (!read_arguments(argc, argv, given)) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (given.tell) return tell(given);
    scenario wanted;
    std::string reason;
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

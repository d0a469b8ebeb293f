// ravd-ctl: asks the daemon on this device how it is, and gives it orders.
#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "core/version.h"
#include "tools/ctl/control_client.h"
#include "tools/ctl/flat_status.h"

namespace {

using namespace ravd::ctl;

constexpr const char usage[] =
    "usage: ravd-ctl [--socket PATH] status [--json]\n"
    "       ravd-ctl [--socket PATH] watch\n"
    "       ravd-ctl [--socket PATH] log-level MASK\n"
    "       ravd-ctl [--socket PATH] reconnect\n"
    "       ravd-ctl --version\n"
    "\n"
    "status prints what the daemon tells of itself, a line NAME=VALUE for each; watch looks once a second and prints "
    "a\n"
    "line for each change; log-level sets the sum of 1 errors, 2 warnings, 4 information, 8 debug until the next "
    "start;\n"
    "reconnect ends the link, and the next attempt follows. Without --socket: /run/ravd/control.sock.\n"
    "Status: 0 done, 1 refused, 2 wrong use, 3 no daemon, 4 no permission, 5 no answer.\n";

int fail(outcome status, const std::string& sentence) {
    std::fprintf(stderr, "ravd-ctl: %s\n", sentence.c_str());
    return status;
}

int order(const std::string& socket, const std::string& text) {
    std::string answer;
    const outcome status = ask(socket, text, answer);
    if (status != answered) return fail(status, answer);
    flat_status leaves;
    if (flatten(answer, leaves) && !leaves.empty() && leaves.front().first == "error")
        return fail(refused, "refused: " + leaves.front().second);
    return answered;
}

int show(const std::string& socket, bool as_json) {
    std::string answer;
    const outcome status = ask(socket, "status", answer);
    if (status != answered) return fail(status, answer);
    if (as_json) return std::printf("%s\n", answer.c_str()) < 0;
    flat_status leaves;
    if (!flatten(answer, leaves)) return fail(refused, "what answers there is no ravd");
    for (const auto& [name, value] : leaves)
        std::printf("%s=%s\n", name.c_str(), value.c_str());
    return answered;
}

void print_change(const std::string& name, const std::string& value) {
    char when[32] = "";
    const std::time_t now = std::time(nullptr);
    tm broken_down{};
    if (localtime_r(&now, &broken_down)) std::strftime(when, sizeof when, "%H:%M:%S", &broken_down);
    std::printf("%s %s=%s\n", when, name.c_str(), value.c_str());
    std::fflush(stdout);
}

// Until the user has enough. A daemon that goes and comes is a change like others.
int watch(const std::string& socket) {
    flat_status before;
    for (bool first = true;; first = false) {
        std::string answer;
        flat_status now;
        const outcome status = ask(socket, "status", answer);
        if (first && status != answered) return fail(status, answer);
        now.emplace_back("daemon", status == answered ? "runs" : answer);
        if (status == answered) flatten(answer, now);
        if (first) now.resize(1);  // what there is already is no change, but that somebody answers
        for (const auto& [name, value] : changes(before, now))
            print_change(name, value);
        if (first) flatten(answer, now);
        before = now;
        sleep(1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string socket = "/run/ravd/control.sock";
    const option options[] = {{"socket", required_argument, nullptr, 's'},
                              {"json", no_argument, nullptr, 'j'},
                              {"help", no_argument, nullptr, 'h'},
                              {"version", no_argument, nullptr, 'v'},
                              {nullptr, 0, nullptr, 0}};
    bool as_json = false;
    for (int found; (found = getopt_long(argc, argv, "s:jhv", options, nullptr)) != -1;) {
        if (found == 's') {
            socket = optarg;
        } else if (found == 'j') {
            as_json = true;
        } else if (found == 'h') {
            return std::fputs(usage, stdout) < 0;
        } else if (found == 'v') {
            return std::printf("ravd-ctl %s\n", ravd::version()) < 0;
        } else {
            return wrong_use;
        }
    }
    const int words = argc - optind;
    const std::string command = words > 0 ? argv[optind] : "";
    if (command == "status" && words == 1) return show(socket, as_json);
    if (command == "watch" && words == 1) return watch(socket);
    if (command == "log-level" && words == 2) return order(socket, command + " " + argv[optind + 1]);
    if (command == "reconnect" && words == 1) return order(socket, command);
    std::fputs(usage, stderr);
    return wrong_use;
}

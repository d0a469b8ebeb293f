#include "sim/ap/command_server.h"

#include <cstdio>

#include "platform/monotonic.h"
#include "sim/ap/mibs.h"

namespace ravd::sim {
namespace {

constexpr std::size_t command_limit = 64 * 1024;

// "wlan0     get_mib:" as the real command begins its answer.
std::string answer_head(const std::string& ifname, const std::string& verb) {
    std::string head = ifname;
    if (head.size() < 10) head.append(10 - head.size(), ' ');
    return head + verb + ":";
}

// iwpriv IFNAME ..., wpa_cli -g SOCKET raw IFNAME=VAP ...
std::string interface_of(const std::vector<std::string>& arguments) {
    if (arguments[0] != "wpa_cli") return arguments.size() > 1 ? arguments[1] : "";
    return arguments.size() > 4 && arguments[4].compare(0, 7, "IFNAME=") == 0 ? arguments[4].substr(7) : "";
}

}  // namespace

command_server::command_server(event_loop& loop, access_point& ap, hostapd& daemon, fault_list& faults,
                               const event_log& log)
    : loop_(loop),
      ap_(ap),
      hostapd_(daemon),
      faults_(faults),
      log_(log),
      server_(loop, command_limit, [this](std::uint64_t connection, std::string& input, bool ended) {
          return take(connection, input) && !ended;
      }) {}

bool command_server::take(std::uint64_t connection, std::string& input) {
    std::vector<std::string> arguments;
    std::size_t at = 0;
    for (;;) {
        const std::size_t end = input.find('\0', at);
        if (end == std::string::npos) return true;  // not whole yet
        if (end == at) break;
        arguments.push_back(input.substr(at, end - at));
        at = end + 1;
    }
    input.clear();
    if (arguments.empty()) return false;
    const auto fault = faults_.strike({arguments[0]}, interface_of(arguments));
    if (fault) log_.line("fault", "%s strikes", arguments[0].c_str());
    if (fault && fault->kind == fault_kind::hang) return true;
    outcome result;
    if (!fault || fault->kind == fault_kind::late)
        result = run(arguments);
    else if (fault->kind == fault_kind::fail)
        result = {1, arguments[0] + ": failed\n"};
    else if (fault->kind == fault_kind::garbage)
        result = {0, garbage(ap_.start.seed, 500)};
    const std::string bytes = static_cast<char>(result.status) + result.output;
    const auto send_now = [this, connection, bytes] { server_.send(connection, bytes, true); };
    if (fault && fault->kind == fault_kind::late)
        loop_.after(fault->value, send_now);
    else
        send_now();
    return true;
}

command_server::outcome command_server::run(const std::vector<std::string>& arguments) {
    if (arguments[0] == "iwpriv") return run_iwpriv(arguments);
    if (arguments[0] == "wpa_cli") return run_wpa_cli(arguments);
    return {127, arguments[0] + ": not simulated\n"};
}

// iwpriv IFNAME get_mib NAME, iwpriv IFNAME set_mib NAME=VALUE
command_server::outcome command_server::run_iwpriv(const std::vector<std::string>& arguments) {
    if (arguments.size() != 4) return {1, "usage: iwpriv IFNAME get_mib NAME | set_mib NAME=VALUE\n"};
    const std::string& ifname = arguments[1];
    radio_state* radio = ap_.radio_of(ifname);
    if (!radio) return {1, ifname + "  no private ioctls.\n"};
    if (arguments[2] == "get_mib") {
        const auto value = get_mib(ap_, *radio, ifname, arguments[3]);
        if (!value) {
            log_.line("iwpriv", "%s: MIB \"%s\" is not known", ifname.c_str(), arguments[3].c_str());
            return {1, "Interface doesn't accept private ioctl...\n"};
        }
        return {0, answer_head(ifname, "get_mib") + std::to_string(*value) + "\n"};
    }
    if (arguments[2] == "set_mib") {
        const std::size_t equals = arguments[3].find('=');
        const bool known = equals != std::string::npos && set_mib(*radio, ifname, arguments[3].substr(0, equals),
                                                                  arguments[3].substr(equals + 1), monotonic_ms());
        log_.line("iwpriv", "%s: MIB %s%s", ifname.c_str(), arguments[3].c_str(), known ? "" : " refused");
        return {known ? 0 : 1, known ? "" : "Interface doesn't accept private ioctl...\n"};
    }
    return {1, "Invalid command : " + arguments[2] + "\n"};
}

// wpa_cli -g SOCKET raw IFNAME=VAP WORDS...
command_server::outcome command_server::run_wpa_cli(const std::vector<std::string>& arguments) {
    const bool known = arguments.size() > 5 && arguments[1] == "-g" && arguments[3] == "raw" &&
                       arguments[4].compare(0, 7, "IFNAME=") == 0;
    if (!known) return {1, "usage: wpa_cli -g SOCKET raw IFNAME=VAP COMMAND\n"};
    if (!ap_.hostapd_running) return {255, "Failed to connect to wpa_supplicant global interface\n"};
    std::string text;
    for (std::size_t i = 5; i < arguments.size(); ++i)
        text += (text.empty() ? "" : " ") + arguments[i];
    return {0, hostapd_.command(arguments[4].substr(7), text) + "\n"};
}

}  // namespace ravd::sim

#include "tools/probe/checks.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "driver/board/board.h"
#include "driver/realtek/ioctl_ops.h"
#include "ipc/ctree_ptr.h"
#include "platform/ctree.h"
#include "platform/factory.h"
#include "platform/monotonic.h"
#include "platform/radio_description.h"
#include "platform/system.h"

namespace ravd {
namespace {

std::string number(long long value) { return std::to_string(value); }

std::string reason() { return errno != 0 ? std::strerror(errno) : "failed"; }

using TOVA::radio_driver;

radio_driver driver_of(const std::string& radio) { return TOVA::get_radio_description(radio.c_str()).driver; }

const char* name_of(radio_driver driver) {
    switch (driver) {
        case radio_driver::rtk_wifi6:
            return "rtk_wifi6";
        case radio_driver::nl80211:
            return "nl80211";
        default:
            return "rtl8192cd";
    }
}

std::string first_line(const char* path) {
    std::string line;
    if (std::FILE* file = std::fopen(sys::device_path(path).c_str(), "re")) {
        char text[256];
        if (std::fgets(text, sizeof text, file)) line = text;
        std::fclose(file);
        while (!line.empty() && line.back() == '\n')
            line.pop_back();
    }
    return line;
}

finding check_readable(const std::string& path) {
    errno = 0;
    if (access(sys::device_path(path.c_str()).c_str(), R_OK) != 0) return {false, path, reason()};
    return {true, path, first_line(path.c_str())};
}

finding check_writable(const std::string& path) {
    errno = 0;
    const bool good = access(sys::device_path(path.c_str()).c_str(), W_OK) == 0;
    return {good, path, good ? "writable" : reason()};
}

finding check_factory() {
    factory_data data{};
    if (factory_data_load(&data) != 0)
        return {false, "factory_data_load", "no factory data (on ordinary Linux the file /etc/ravd/factory)"};
    const auto text = [](const char(&field)[32]) { return std::string(field, strnlen(field, sizeof field)); };
    const std::string mac = text(data.mac);
    unsigned octets[6];
    int read = 0;
    const bool good = std::sscanf(mac.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &octets[0], &octets[1], &octets[2],
                                  &octets[3], &octets[4], &octets[5], &read) == 6 &&
                      static_cast<std::size_t>(read) == mac.size();
    return {good, "factory_data_load",
            "board " + text(data.board) + ", hw " + text(data.hw) + ", serial " + text(data.serial) + ", mac " + mac +
                (good ? "" : ": not a hardware address")};
}

finding check_setting(driver_realtek& driver, const std::string& path) {
    std::string value;
    const bool good = driver.getconf(path.c_str(), value) == 0;
    return {good, "get " + path, good ? value : "the configuration service (module 1) gives no value"};
}

// What a command prints, without its last line end; empty when it failed.
std::string output_of(const std::string& command) {
    std::string output;
    if (!sys::run_command_for_reading(command.c_str(), output)) return {};
    while (!output.empty() && output.back() == '\n')
        output.pop_back();
    return output;
}

finding check_command(const char* name) {
    const std::string path = output_of(std::string("command -v ") + name);
    return {!path.empty(), std::string("command ") + name, path.empty() ? "not found on the path" : path};
}

// Whether hostapd answers on the socket over which a VAP's neighbours are set.
finding check_hostapd_control(const std::string& vap) {
    const std::string command = "wpa_cli -g /var/run/hostapd/global raw IFNAME=" + vap + " PING";
    const std::string output = output_of(command);
    const bool good = output.find("PONG") != std::string::npos;
    return {good, command, good ? "PONG" : output.empty() ? "no answer" : output.substr(0, output.find('\n'))};
}

// Asks a back-end of one interface; a failure without a text is told by errno.
template <typename Ops, typename Ask>
finding check_back_end(Ops& ops, const std::string& ifname, const std::string& what, Ask ask) {
    errno = 0;
    std::string text;
    const bool good = ask(ops, text);
    return {good, ifname + " " + what, good || !text.empty() ? text : reason()};
}

// A request to the driver of one interface.
template <typename Ask>
finding check_driver(driver_realtek& driver, const std::string& ifname, const std::string& what, Ask ask) {
    const auto ops = board_back_ends().back_end_of(driver.progress(), ifname.c_str());
    return check_back_end(*ops, ifname, what, ask);
}

std::string number_text(std::uint32_t value, bool hexadecimal) {
    char words[64];
    std::snprintf(words, sizeof words, hexadecimal ? "0x%04x" : "%u", value);
    return words;
}

finding check_mib(driver_realtek& driver, const std::string& ifname, const char* name, bool hexadecimal) {
    const bool by_command = driver_of(ifname.substr(0, ifname.find('-'))) == radio_driver::rtk_wifi6;
    const auto ops =
        ioctl_ops::assign(by_command ? rtk_wifi6_back_end : rtl8192cd_back_end, driver.progress(), ifname.c_str());
    return check_back_end(*ops, ifname, std::string("MIB ") + name, [&](ioctl_ops& asked, std::string& text) {
        std::uint32_t value = 0;
        if (asked.get_mib(name, value) < 0) {
            if (by_command) text = "iwpriv " + ifname + " get_mib " + name + " gives no number";
            return false;
        }
        text = number_text(value, hexadecimal);
        return true;
    });
}

// Channel and power of a radio of mainline Linux, which has no variables.
void check_mainline_state(driver_realtek& driver, const std::string& name, std::vector<finding>& found) {
    found.push_back(check_driver(driver, name, "chanspec", [](back_end& ops, std::string& text) {
        std::uint32_t value = 0;
        if (ops.get_chanspec(value) != 0) return false;
        text = value == 0 ? "no VAP has a channel" : number_text(value, true);
        return value != 0;
    }));
    found.push_back(check_driver(driver, name, "transmit power", [](back_end& ops, std::string& text) {
        std::uint32_t value = 0;
        if (ops.get_tx_power(value) != 0) return false;
        text = number_text(value, false) + " dBm";
        return true;
    }));
}

void check_radio(driver_realtek& driver, int index, bool configured, std::vector<finding>& found) {
    const std::string name = driver.table().get_radio(index)->name;
    const radio_driver kind = driver_of(name);
    const bool wifi6 = kind == radio_driver::rtk_wifi6;
    const bool mainline = kind == radio_driver::nl80211;
    found.push_back({true, name + " board description", name_of(kind)});
    found.push_back(check_readable("/sys/class/net/" + name + "/flags"));
    if (!mainline) {
        finding coex =
            check_readable(wifi6 ? "/proc/net/rtk_wifi6/" + name + "/coex_2g_40m" : "/proc/" + name + "/mib_11n");
        if (coex.good) coex.text = driver.get_obss_coex(name.c_str()) ? "coexistence on" : "coexistence off";
        found.push_back(coex);
    }
    if (configured)
        for (const char* key : {"country", "bandwidth", "control-sideband", "tx-power-max", "tx-power-min"})
            found.push_back(check_setting(driver, driver.table().radio_path(name.c_str(), key)));
    if (mainline) {
        check_mainline_state(driver, name, found);
    } else {
        found.push_back(check_mib(driver, name, "chanspec", true));
        found.push_back(check_mib(driver, name, wifi6 ? "power_target" : "actual_tx_power", false));
    }
    if (!driver.is_radio_up(name.c_str())) {
        found.push_back({true, name + " commands", "not asked: the radio is down"});
        return;
    }
    found.push_back(check_driver(driver, name, "available channels", [](back_end& ops, std::string& text) {
        channel_set channels;
        if (ops.get_available_channels(channels) != 0) return false;
        text = number(static_cast<long long>(channels.size())) + " channels";
        return !channels.empty();
    }));
    found.push_back(check_driver(driver, name, "scan results", [](back_end& ops, std::string& text) {
        ap_table table;
        if (ops.get_scan_results(table) != 0) return false;
        text = number(static_cast<long long>(table.size())) + " of the last scan";
        return true;
    }));
    found.push_back(check_driver(driver, name, "RRM scan results", [](back_end& ops, std::string& text) {
        ap_table table;
        if (ops.get_rrm_scan_results(table) != 0) return false;
        text = number(static_cast<long long>(table.size())) + " of the last scan";
        return true;
    }));
}

void check_vap(driver_realtek& driver, const vap_record& vap, radio_driver kind, bool configured,
               std::vector<finding>& found) {
    found.push_back(check_readable("/sys/class/net/" + vap.name + "/flags"));
    if (configured)
        for (const char* key :
             {"/common/enabled", "/vap/ssid", "/vap/ap-security/mode", "/vap/w80211kv-config/enabled"})
            found.push_back(check_setting(driver, vap_path(vap.name.c_str(), key)));
    if (!vap.active) return;
    found.push_back(check_driver(driver, vap.name, "stations", [](back_end& ops, std::string& text) {
        std::vector<rrm_sta_s> stations;
        if (ops.get_assoc_stas(stations) != 0) return false;
        text = number(static_cast<long long>(stations.size())) + " associated";
        return true;
    }));
    if (kind == radio_driver::nl80211) {
        found.push_back(check_writable("/var/run/hostapd/" + vap.name));
        return;
    }
    const bool wifi6 = kind == radio_driver::rtk_wifi6;
    const std::string directory = (wifi6 ? "/proc/net/rtk_wifi6/" : "/proc/") + vap.name;
    found.push_back(check_writable(directory + (wifi6 ? "/nb_report" : "/rm_neighbor_report")));
    found.push_back(check_writable(directory + (wifi6 ? "/nb_report_custom" : "/rm_neighbor_report_custom")));
    if (!wifi6) return;
    found.push_back(check_mib(driver, vap.name, "use40M", false));
    found.push_back(check_mib(driver, vap.name, "2ndchoffset", false));
    found.push_back(check_hostapd_control(vap.name));
}

// Asks on an endpoint of its own, since the driver's tells no reasons.
class configuration_question : public ipc_helper {
  public:
    finding registration() {
        const bool good = open_bus();
        return {good, "mbus_init(" + number(bus_module_requests) + ")",
                good ? "registered" : "refused: ravd runs and holds the number, or there is no bus"};
    }
    finding answer() {
        const ctree_ptr request(ctree_get_empty());
        ctree_set_param(request.get(), "command", "get");
        ctree_set_param(request.get(), "path", "/corvane/dca");
        const std::int64_t began = monotonic_ms();
        const ctree_ptr answer(send_request(request.get(), "get-response", bus_module_configuration, ""));
        const bool waited = monotonic_ms() - began >= 1000;
        return {answer != nullptr, "configuration service (module " + number(bus_module_configuration) + ")",
                answer   ? "answers"
                : waited ? "takes \"get\" and does not answer it within 2 s"
                         : "nobody serves the module"};
    }
};

}  // namespace

std::vector<finding> check_bus() {
    configuration_question question;
    std::vector<finding> found{question.registration()};
    if (found.back().good) found.push_back(question.answer());
    return found;
}

std::vector<finding> run_checks(driver_realtek& driver, bool configured) {
    std::vector<finding> found;
    found.push_back(check_factory());
    finding pid = check_readable("/var/run/hostapd.pid");
    if (!pid.good) pid.text = "hostapd does not run";
    found.push_back(pid);
    found.push_back(check_writable("/tmp"));
    if (configured)
        for (const char* path : {"/corvane/dca", "/corvane/tpc", "/corvane/load-balance-80211v"})
            found.push_back(check_setting(driver, path));
    bool any_wifi6 = false;
    for (int r = 0; r < driver.radio_count(); ++r) {
        check_radio(driver, r, configured, found);
        const interface_context& radio = *driver.table().get_radio(r);
        const radio_driver kind = driver_of(radio.name);
        any_wifi6 |= kind == radio_driver::rtk_wifi6;
        // VAPs that are not made on this device have no directory, and nothing is asked of them.
        for (const vap_record& vap : radio.vaps)
            if (access(sys::device_path(("/sys/class/net/" + vap.name).c_str()).c_str(), F_OK) == 0)
                check_vap(driver, vap, kind, configured, found);
    }
    if (any_wifi6)
        for (const char* command : {"iwpriv", "wpa_cli"})
            found.push_back(check_command(command));
    return found;
}

}  // namespace ravd

#include "sim/ap/device_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

#include "sim/ap/neighbour_text.h"

namespace ravd::sim {
namespace {

constexpr const char* pid_path = "/var/run/hostapd.pid";
constexpr const char* notify_path = "/tmp/.corvane_notify";

}  // namespace

std::string neighbour_path(const radio_state& radio, const vap_state& vap, bool custom) {
    if (radio.kind == chip_kind::rtk_wifi6)
        return "/proc/net/rtk_wifi6/" + vap.name + (custom ? "/nb_report_custom" : "/nb_report");
    return "/proc/" + vap.name + (custom ? "/rm_neighbor_report_custom" : "/rm_neighbor_report");
}

device_files::device_files(event_loop& loop, const event_log& log, access_point& ap, std::string directory)
    : loop_(loop), log_(log), ap_(ap), directory_(std::move(directory)) {}

device_files::~device_files() {
    for (const unique_fd& pipe : pipes_)
        loop_.forget(pipe.get());
    // What lies there may be another's, who runs in the directory while this one was refused it.
    if (!made_) return;
    // A pipe without a reader would hold up whoever writes into it.
    for (const radio_state& radio : ap_.radios)
        for (const vap_state& vap : radio.vaps)
            for (const bool custom : {false, true})
                unlink((directory_ + neighbour_path(radio, vap, custom)).c_str());
    remove_pid();
}

bool device_files::make_directory(const std::string& device_path, std::string& reason) const {
    const std::string path = directory_ + device_path + "/";
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
        if (mkdir(path.substr(0, at).c_str(), 0755) == 0 || errno == EEXIST || errno == EISDIR) continue;
        reason = path.substr(0, at) + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

// In one step for whoever reads it meanwhile.
bool device_files::write(const std::string& device_path, const std::string& text) const {
    const std::string path = directory_ + device_path;
    const std::string fresh = path + ".new";
    unique_fd file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!file) return false;
    const bool whole = ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    file.reset();
    return whole && rename(fresh.c_str(), path.c_str()) == 0;
}

// What a run with another scenario left would tell the wrong chip, and VAPs that are not there.
void device_files::remove_leftovers(const radio_state& radio) const {
    const std::string wifi6 = directory_ + "/proc/net/rtk_wifi6/" + radio.name;
    unlink((wifi6 + "/coex_2g_40m").c_str());
    rmdir(wifi6.c_str());
    for (int v = 0; v < vap_limit; ++v) {
        const std::string interface = directory_ + "/sys/class/net/" + radio.name + "-va" + std::to_string(v);
        unlink((interface + "/flags").c_str());
        rmdir(interface.c_str());
    }
}

bool device_files::create(std::string& reason) {
    made_ = true;
    for (const char* path : {"/tmp", "/var/run", "/etc/ravd", "/sys/class/net", "/proc/net", "/bin"})
        if (!make_directory(path, reason)) return false;
    for (const char* name : {"", "_hostapd_started", "_scoutd_started", "_config_updated", "_timezone_changed"})
        unlink((directory_ + notify_path + name).c_str());
    remove_pid();
    for (const radio_state& radio : ap_.radios) {
        remove_leftovers(radio);
        const std::string wifi6 = "/proc/net/rtk_wifi6/" + radio.name;
        const bool is_wifi6 = radio.kind == chip_kind::rtk_wifi6;
        if (!make_directory(is_wifi6 ? wifi6 : "/proc/" + radio.name, reason)) return false;
        if (!make_directory("/sys/class/net/" + radio.name, reason)) return false;
        for (const vap_state& vap : radio.vaps) {
            if (!make_directory("/sys/class/net/" + vap.name, reason)) return false;
            if (!make_directory((is_wifi6 ? "/proc/net/rtk_wifi6/" : "/proc/") + vap.name, reason)) return false;
        }
    }
    const scenario& s = ap_.start;
    std::string mac = mac_text(s.base_mac);
    for (char& c : mac)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const std::string factory = "board=" + s.board + "\nhw=" + s.hw + "\nserial=" + s.serial + "\nmac=" + mac + "\n";
    if (!write("/etc/ravd/factory", factory)) {
        reason = directory_ + "/etc/ravd/factory: " + std::strerror(errno);
        return false;
    }
    refresh();
    for (radio_state& radio : ap_.radios)
        for (vap_state& vap : radio.vaps)
            for (const bool custom : {false, true})
                if (!open_neighbour_file(radio, vap, custom, reason)) return false;
    return true;
}

void device_files::refresh() const {
    const auto flags = [](bool up) { return up ? "0x1003\n" : "0x1002\n"; };
    for (const radio_state& radio : ap_.radios) {
        write("/sys/class/net/" + radio.name + "/flags", flags(radio.up));
        if (radio.kind == chip_kind::rtk_wifi6)
            write("/proc/net/rtk_wifi6/" + radio.name + "/coex_2g_40m", radio.coex ? "1\n" : "0\n");
        else
            write("/proc/" + radio.name + "/mib_11n",
                  std::string("  Dot11nConfigEntry...\n    supportedmcs: ff\n    coexist: ") +
                      (radio.coex ? "1" : "0") + "\n");
        for (const vap_state& vap : radio.vaps)
            write("/sys/class/net/" + vap.name + "/flags", flags(ap_.vap_up(radio, vap)));
    }
}

bool device_files::open_neighbour_file(const radio_state& radio, vap_state& vap, bool custom, std::string& reason) {
    const std::string path = directory_ + neighbour_path(radio, vap, custom);
    unlink(path.c_str());
    unique_fd pipe(mkfifo(path.c_str(), 0644) == 0 ? open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1);
    if (!pipe) {
        reason = path + ": " + std::strerror(errno);
        return false;
    }
    const int fd = pipe.get();
    pipes_.push_back(std::move(pipe));
    loop_.watch(fd, POLLIN, [this, fd, &radio, &vap, custom](short) { read_neighbours(fd, radio, vap, custom); });
    return true;
}

void device_files::read_neighbours(int fd, const radio_state& radio, vap_state& vap, bool custom) const {
    // More than a pipe holds, so that no line is taken in two pieces.
    static char piece[128 * 1024];
    const ssize_t n = read(fd, piece, sizeof piece);
    if (n <= 0) return;
    auto& list = custom ? vap.custom_neighbours : vap.neighbours;
    const std::string text(piece, static_cast<std::size_t>(n));
    for (const neighbour_order& order : read_neighbour_orders(text, radio.kind)) {
        const char* which = custom ? "custom list" : "list";
        switch (order.what) {
            case neighbour_order::clear:
                log_.line("driver", "%s: 802.11k %s of %zu cleared", vap.name.c_str(), which, list.size());
                list.clear();
                break;
            case neighbour_order::add:
                log_.line("driver", "%s: 802.11k %s gets %s on channel %d", vap.name.c_str(), which,
                          mac_text(order.entry.bssid).c_str(), order.entry.channel);
                list.push_back(order.entry);
                break;
            case neighbour_order::unknown:
                log_.line("driver", "%s: 802.11k %s cannot read \"%s\"", vap.name.c_str(), which,
                          order.entry.rest.c_str());
                break;
        }
    }
}

void device_files::write_pid() const { write(pid_path, std::to_string(getpid()) + "\n"); }
void device_files::remove_pid() const { unlink((directory_ + pid_path).c_str()); }

void device_files::notify(const char* detail) const {
    write(std::string(notify_path) + "_" + detail, "");
    write(notify_path, "");
}

bool device_files::agent_connected() const {
    return access((directory_ + "/tmp/.corvane-connected").c_str(), F_OK) == 0;
}

}  // namespace ravd::sim

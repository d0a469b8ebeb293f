#include "driver/realtek/rtk_wifi6_ops.h"

#include <cerrno>
#include <cstring>

#include "core/decimal.h"
#include "core/formatted.h"
#include "core/ifname.h"
#include "core/logger.h"
#include "driver/chanspec.h"
#include "driver/device_file.h"
#include "driver/realtek/device_text.h"
#include "message/mac_addr.h"

namespace ravd {
namespace {

constexpr const char* driver_directory = "/proc/net/rtk_wifi6/";
constexpr const char* hostapd_control = "wpa_cli -g /var/run/hostapd/global raw IFNAME=";
constexpr std::size_t command_limit = 1023;
constexpr std::uint32_t octet_limit = 255;
constexpr std::size_t coex_file_limit = 64;

constexpr unsigned driver_bssid_information = 0x67080000;

}  // namespace

rtk_wifi6_ioctl_ops::rtk_wifi6_ioctl_ops(activity* progress, const char* ifname)
    : ioctl_ops({0x89f4, 0x89f6, driver_directory, {"nb_report", "nb_report_custom"}}, progress, ifname) {}

int rtk_wifi6_ioctl_ops::set_mib(const char* name, const char* value) {
    if (is_wlan_ifname(ifname())) run(formatted("iwpriv %s set_mib %s=%s", ifname(), name, value));
    return 0;
}

int rtk_wifi6_ioctl_ops::get_mib(const char* name, std::uint32_t& output) {
    output = 0;
    std::string reply;
    std::string word;
    int read = -1;
    int mib_value = -1;
    errno = EINVAL;
    if (is_wlan_ifname(ifname()) && run(formatted("iwpriv %s get_mib %s", ifname(), name), &reply)) {
        errno = 0;
        read = scan_mib_reply(reply.c_str(), word, mib_value);
    }
    if (read == 2 && std::strncmp(word.c_str(), ifname(), std::strlen(ifname())) == 0 && mib_value >= 0) {
        output = static_cast<std::uint32_t>(mib_value);
        return 0;
    }
    log_error(process_log, "<%s:%d> cannot get MIB parametr '%s'(errno = (%d)%s)(ret == %d), mib_value %d\n", __func__,
              __LINE__, name, errno, std::strerror(errno), read, mib_value);
    return -1;
}

int rtk_wifi6_ioctl_ops::get_tx_power(std::uint32_t& output) { return get_mib("power_target", output); }

// A variable that goes out as one octet; one that is none counts as not read.
std::uint32_t rtk_wifi6_ioctl_ops::octet_mib(const char* name) {
    std::uint32_t value = 0;
    get_mib(name, value);
    return value > octet_limit ? 0 : value;
}

bool rtk_wifi6_ioctl_ops::tell_hostapd(const neighbour_entry& neighbour) {
    if (!is_wlan_ifname(ifname()) || neighbour.channel > octet_limit) return false;
    if (hostapd_spared_) return true;
    const std::uint32_t use_40m = octet_mib("use40M");
    const std::uint32_t second_offset = octet_mib("2ndchoffset");
    const bool band_2 = band_of_channel(neighbour.channel) == 2;
    const MacAddr bssid{neighbour.bssid};
    // Neighbour report body: BSSID, BSSID information, operating class, channel, PHY type, then the subelement for a
    // wide channel (id 6, length 3).
    const std::string command =
        formatted("%s%s SET_NEIGHBOR %s ssid=%s nr=%s%04x%02x%02x%02x%02x%02x%02x%02x%02x", hostapd_control, ifname(),
                  bssid.to_lower().c_str(), to_hex(neighbour.ssid).c_str(), bssid.to_digits().c_str(),
                  band_2 ? 0xaf490000u : 0xaf590000u, static_cast<unsigned>(neighbour.operating_class) & octet_limit,
                  neighbour.channel, band_2 ? 7u : 9u, 6u, 3u, use_40m, neighbour.channel, second_offset);
    // Cut, it would be another entry.
    return command.size() <= command_limit && run(command);
}

int rtk_wifi6_ioctl_ops::add_neighbor(const neighbour_entry& neighbour) {
    constexpr const char* error = "Error rrm_nbr_add_nbr\n";
    if (!tell_hostapd(neighbour)) {
        log_debug(process_log, "%s", error);
        return -1;
    }
    const std::string order = formatted("add %s %u %u %u %u %u", MacAddr{neighbour.bssid}.to_lower().c_str(),
                                        driver_bssid_information, 0u, neighbour.channel, 0u, neighbour.priority);
    return write_neighbour_file(neighbour.custom, order, error);
}

int rtk_wifi6_ioctl_ops::del_neighbors() {
    constexpr const char* error = "Error rrm_nbr_del_nbr\n";
    const std::string command = formatted("%s%s REMOVE_ALL_NEIGHBOR", hostapd_control, ifname());
    if (!is_wlan_ifname(ifname()) || !(hostapd_spared_ || run(command))) {
        log_debug(process_log, "%s", error);
        return -1;
    }
    return write_neighbour_file(false, "delall", error);
}

bool rtk_wifi6_ioctl_ops::get_obss_coex() {
    std::string text;
    int read = -1;
    int obss_value = -1;
    errno = 0;
    if (read_device_file(interface_file(driver_directory, ifname(), "/coex_2g_40m"), text, coex_file_limit))
        read = read_decimal(text.c_str(), obss_value) ? 1 : 0;
    if (obss_value >= 0) {
        log_debug(process_log, "<%s:%d> get OBSS parametr, obss_value %d\n", __func__, __LINE__, obss_value);
        return obss_value != 0;
    }
    log_error(process_log, "<%s:%d> cannot get OBSS parametr (errno = (%d)%s)(ret == %d), obss_value %d\n", __func__,
              __LINE__, errno, std::strerror(errno), read, obss_value);
    return false;
}

}  // namespace ravd

#include "driver/realtek/rtl8192cd_ops.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/decimal.h"
#include "core/formatted.h"
#include "core/logger.h"
#include "driver/chanspec.h"
#include "driver/device_file.h"
#include "driver/realtek/device_text.h"
#include "message/mac_addr.h"

namespace ravd {
namespace {

constexpr std::uint32_t set_mib_request = 0x89f1;
constexpr std::uint32_t get_mib_request = 0x89f2;
constexpr std::size_t mib_buffer_size = 2048;
constexpr std::size_t mib_file_limit = 64 * 1024;

// Value of a line of one of the driver's tables; empty, with the reason in the log, when there is none.
std::string get_from_driver(const char* ifname, const char* file, const char* name) {
    const std::string path = interface_file("/proc/", ifname, file);
    std::string text;
    if (!read_device_file(path, text, mib_file_limit)) {
        log_error(process_log, "<%s:%d> cannot open procfs entry(%s)\n", __func__, __LINE__, path.c_str());
        return {};
    }
    std::string value = find_driver_value(text, name);
    log_debug(process_log, "<%s:%d> %s == %s\n", __func__, __LINE__, name, value.c_str());
    return value;
}

}  // namespace

rtl8192cd_ioctl_ops::rtl8192cd_ioctl_ops(activity* progress, const char* ifname)
    : ioctl_ops({0x8bbf, 0x8ba6, "/proc/", {"rm_neighbor_report", "rm_neighbor_report_custom"}}, progress, ifname) {}

int rtl8192cd_ioctl_ops::set_mib(const char* name, const char* value) {
    std::string text = formatted("%s=%s", name, value);
    if (request(set_mib_request, text.data(), text.size() + 1) >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot set MIB parametr '%s=%s'(errno = %s)()\n", __func__, __LINE__, name, value,
              std::strerror(errno));
    return -1;
}

int rtl8192cd_ioctl_ops::get_mib(const char* name, std::uint32_t& output) {
    output = 0;
    char buffer[mib_buffer_size] = {};
    std::snprintf(buffer, sizeof buffer, "%s", name);
    std::size_t length = 0;
    int result = request(get_mib_request, buffer, sizeof buffer, &length);
    if (result >= 0 && (length == 0 || (length == sizeof buffer && std::strcmp(buffer, name) == 0))) {
        // A driver that succeeds without answering leaves the request as it was, or an answer of no length.
        result = -1;
        errno = ENODATA;
    }
    if (result < 0) {
        log_error(process_log, "<%s:%d> cannot get MIB parametr '%s'(errno = (%d)%s)(rc == %d)\n", __func__, __LINE__,
                  name, errno, std::strerror(errno), result);
        return -1;
    }
    std::memcpy(&output, buffer, std::min(length, sizeof output));
    return result;
}

int rtl8192cd_ioctl_ops::get_tx_power(std::uint32_t& output) { return get_mib("actual_tx_power", output); }

int rtl8192cd_ioctl_ops::add_neighbor(const neighbour_entry& neighbour) {
    constexpr const char* error = "Error rrm_nbr_add_nbr\n";
    if (has_control_character(neighbour.ssid)) {
        log_debug(process_log, "%s", error);
        return -1;
    }
    const bool band_2 = band_of_channel(neighbour.channel) == 2;
    const std::string order =
        formatted("add %s 0x%04X %d %d %d ssid \"%s\" bssload %d %d", MacAddr{neighbour.bssid}.to_digits().c_str(),
                  band_2 ? 0x0867u : 0x1867u, neighbour.operating_class, static_cast<int>(neighbour.channel),
                  band_2 ? 7 : 9, neighbour.ssid.c_str(), neighbour.bss_load[0], neighbour.bss_load[1]);
    return write_neighbour_file(neighbour.custom, order, error);
}

int rtl8192cd_ioctl_ops::del_neighbors() { return write_neighbour_file(false, "delall", "Error rrm_nbr_del_nbr\n"); }

bool rtl8192cd_ioctl_ops::get_obss_coex() {
    int value = 0;
    return read_decimal(get_from_driver(ifname(), "/mib_11n", "coexist").c_str(), value) && value != 0;
}

}  // namespace ravd

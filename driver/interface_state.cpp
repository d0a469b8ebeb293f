#include "driver/interface_state.h"

#include <dirent.h>

#include <cstdlib>
#include <string>

#include "core/logger.h"
#include "driver/device_file.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr const char* net_directory = "/sys/class/net/";
constexpr std::size_t flags_line_limit = 64;
constexpr int flag_up = 1;

}  // namespace

bool interface_is_up(const char* ifname) {
    const std::string path = interface_file(net_directory, ifname, "/flags");
    std::string line;
    if (!read_device_file(path, line, flags_line_limit)) {
        log_error(process_log, "<%s:%d> cannot open entry from sysfs(%s)\n", __func__, __LINE__, path.c_str());
        return false;
    }
    if (line.empty()) {
        log_error(process_log, "<%s:%d> cannot read entry from sysfs(%s)\n", __func__, __LINE__, path.c_str());
        return false;
    }
    const auto flags = static_cast<int>(std::strtoul(line.c_str(), nullptr, 16));
    log_debug(process_log, "<%s:%d> /sys/class/net/%s/flags == 0x%0x\n", __func__, __LINE__, ifname,
              static_cast<unsigned>(flags));
    return flags != -1 && (flags & flag_up) != 0;
}

bool is_if_exists(const char* ifname) {
    const std::string path = interface_file(net_directory, ifname, "");
    DIR* directory = path.empty() ? nullptr : opendir(sys::device_path(path.c_str()).c_str());
    if (!directory) {
        log_debug(process_log, "<%s:%d> %s interface not exists\n", __func__, __LINE__, ifname ? ifname : "");
        return false;
    }
    closedir(directory);
    return true;
}

}  // namespace ravd

#include "platform/radio_description.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

#include "platform/system.h"

namespace {

// "wlan" and a number: the name becomes part of a path.
bool is_radio_name(const char* name) {
    if (!name || std::strncmp(name, "wlan", 4) != 0) return false;
    const std::size_t digits = std::strspn(name + 4, "0123456789");
    return digits > 0 && digits < 4 && name[4 + digits] == '\0';
}

bool is_directory(const std::string& device_path) {
    struct stat info {};
    return stat(ravd::sys::device_path(device_path.c_str()).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

TOVA::radio_description TOVA::get_radio_description(const char* radio_name) {
    if (!is_radio_name(radio_name)) return {radio_driver::rtl8192cd};
    const std::string name = radio_name;
    if (is_directory("/proc/net/rtk_wifi6/" + name)) return {radio_driver::rtk_wifi6};
    if (is_directory("/proc/" + name)) return {radio_driver::rtl8192cd};
    return {is_directory("/sys/class/net/" + name + "/phy80211") ? radio_driver::nl80211 : radio_driver::rtl8192cd};
}

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

}  // namespace

TOVA::radio_description TOVA::get_radio_description(const char* radio_name) {
    if (!is_radio_name(radio_name)) return {radio_driver::rtl8192cd};
    const std::string path = ravd::sys::device_path((std::string("/proc/net/rtk_wifi6/") + radio_name).c_str());
    struct stat info {};
    const bool wifi6 = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    return {wifi6 ? radio_driver::rtk_wifi6 : radio_driver::rtl8192cd};
}

#include "hostd/vap_table.h"

#include <dirent.h>

#include <algorithm>

#include "core/ifname.h"
#include "platform/system.h"

namespace ravd::hostd {
namespace {

bool is_vap_name(const char* name) {
    int radio = 0;
    int index = 0;
    return is_wlan_ifname(name) && parse_vap_ifname(name, radio, index) && radio < static_cast<int>(radio_names.size());
}

}  // namespace

void vap_table::look() {
    DIR* directory = ::opendir(sys::device_path(directory_.c_str()).c_str());
    if (!directory) return;
    while (const dirent* entry = ::readdir(directory)) {
        if (!is_vap_name(entry->d_name) || find(entry->d_name) || vaps_.size() >= limit) continue;
        vaps_.push_back(std::make_unique<vap>(entry->d_name, directory_, time_));
        std::sort(vaps_.begin(), vaps_.end(), [](const auto& a, const auto& b) { return a->name() < b->name(); });
    }
    ::closedir(directory);
}

vap* vap_table::find(const std::string& name) const {
    for (const auto& one : vaps_)
        if (one->name() == name) return one.get();
    return nullptr;
}

vap* vap_table::of_radio(int radio) const {
    for (const auto& one : vaps_)
        if (one->radio() == radio && one->description().enabled) return one.get();
    return nullptr;
}

}  // namespace ravd::hostd

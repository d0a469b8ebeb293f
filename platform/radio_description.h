// The device's board description: which driver runs a radio. A device may link its vendor's answer; platform/portable
// looks at what the radio's driver shows under /proc and /sys. A radio of mainline Linux (nl80211) has a phy there and
// nothing of the other two.
#pragma once

namespace TOVA {

enum class radio_driver { rtl8192cd = 0, rtk_wifi6 = 1, nl80211 = 2 };

struct radio_description {
    radio_driver driver;
};

// Description of a radio by its interface name ("wlan0"). Unknown radios are described as rtl8192cd.
radio_description get_radio_description(const char* radio_name);

}  // namespace TOVA

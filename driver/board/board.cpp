#include "driver/board/board.h"

#include <cstring>
#include <string>

#include "driver/board/mainline.h"
#include "driver/realtek/ioctl_ops.h"
#include "platform/radio_description.h"

namespace ravd {

std::unique_ptr<back_end> board_back_ends::back_end_of(activity* progress, const char* ifname) {
    const std::string radio_name(ifname, std::strcspn(ifname, "-"));
    const TOVA::radio_driver driver = TOVA::get_radio_description(radio_name.c_str()).driver;
    const bool wifi6 = driver == TOVA::radio_driver::rtk_wifi6;
    if (back_end_source* const mainline = mainline_back_ends()) {
        if (driver == TOVA::radio_driver::nl80211) mainline_radios_.insert(radio_name);
        if (!wifi6 && mainline_radios_.count(radio_name) != 0) return mainline->back_end_of(progress, ifname);
    }
    return ioctl_ops::assign(wifi6 ? rtk_wifi6_back_end : rtl8192cd_back_end, progress, ifname);
}

int board_back_ends::event_descriptor() {
    back_end_source* const mainline = mainline_back_ends();
    return mainline ? mainline->event_descriptor() : -1;
}

bool board_back_ends::scans_over() {
    back_end_source* const mainline = mainline_back_ends();
    return mainline && mainline->scans_over();
}

driver_realtek& realtek_driver(const run_flag* running) {
    static board_back_ends back_ends;
    static driver_realtek driver(running, back_ends);
    return driver;
}

}  // namespace ravd

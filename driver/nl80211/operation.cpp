#include "driver/nl80211/operation.h"

#include <cerrno>
#include <cstring>

#include "core/logger.h"

namespace ravd {

nl80211_port* operation::port() const {
    tick();
    return cancelled() ? nullptr : memory_.port();
}

int operation::failed(const char* what, int error) const {
    log_error(process_log, "%s: cannot %s: %s\n", name(), what, std::strerror(-error));
    // What is asked of a family that the kernel does not know (any more) is answered so.
    if (error == -ENOENT || error == -EIO) memory_.forget_port();
    tick();
    return -1;
}

int operation::find(wireless_interface& interface) const {
    nl80211_port* const kernel = port();
    if (!kernel) return -1;
    std::uint32_t index = 0;
    int result = kernel->interface_index(name(), index);
    if (result == 0) result = kernel->get_interface(index, interface);
    tick();
    return result == 0 ? 0 : failed("find the interface", result);
}

int operation::list(std::vector<wireless_interface>& interfaces) const {
    nl80211_port* const kernel = port();
    if (!kernel) return -1;
    const int result = kernel->list_interfaces(interfaces);
    tick();
    return result == 0 ? 0 : failed("list interfaces", result);
}

int operation::find_on_channel(wireless_interface& interface) const {
    if (find(interface) < 0) return -1;
    if (interface.frequency != 0) return 0;
    std::vector<wireless_interface> interfaces;
    if (list(interfaces) < 0) return -1;
    for (const wireless_interface& one : interfaces)
        if (one.phy == interface.phy && one.type == wireless_type::access_point && one.frequency != 0) {
            interface = one;
            return 0;
        }
    return 0;
}

}  // namespace ravd

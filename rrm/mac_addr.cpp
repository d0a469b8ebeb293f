#include "rrm/mac_addr.h"

#include <cstdio>

namespace ravd {

std::string MacAddr::to_string() const {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", octets[0], octets[1], octets[2], octets[3],
                  octets[4], octets[5]);
    return text;
}

}  // namespace ravd

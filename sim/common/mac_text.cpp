#include "sim/common/mac_text.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace ravd::sim {

std::optional<mac_octets> parse_mac(const std::string& text) {
    mac_octets octets{};
    if (text.size() != 17) return std::nullopt;
    for (std::size_t i = 0; i < octets.size(); ++i) {
        const char pair[3] = {text[3 * i], text[3 * i + 1], '\0'};
        if (!std::isxdigit(static_cast<unsigned char>(pair[0])) || !std::isxdigit(static_cast<unsigned char>(pair[1])))
            return std::nullopt;
        if (i < 5 && text[3 * i + 2] != ':') return std::nullopt;
        octets[i] = static_cast<std::uint8_t>(std::strtoul(pair, nullptr, 16));
    }
    return octets;
}

std::string mac_text(const mac_octets& octets) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2], octets[3],
                  octets[4], octets[5]);
    return text;
}

}  // namespace ravd::sim

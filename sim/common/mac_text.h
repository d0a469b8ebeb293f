// Hardware addresses as texts.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace ravd::sim {

using mac_octets = std::array<std::uint8_t, 6>;

// Six hexadecimal pairs of either case joined by colons, and nothing else.
std::optional<mac_octets> parse_mac(const std::string& text);
// Lower case, joined by colons.
std::string mac_text(const mac_octets& octets);

}  // namespace ravd::sim

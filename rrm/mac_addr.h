// Hardware address of a station or BSS.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ravd {

struct MacAddr {
    std::array<std::uint8_t, 6> octets{};  // in the order in which they are transmitted

    // "%02X:%02X:%02X:%02X:%02X:%02X"
    std::string to_string() const;

    friend bool operator==(const MacAddr& a, const MacAddr& b) { return a.octets == b.octets; }
    friend bool operator!=(const MacAddr& a, const MacAddr& b) { return !(a == b); }
};

// Key hash of the per-radio tables; only the last three octets enter it.
struct mac_addr_hash {
    std::size_t operator()(const MacAddr& mac) const noexcept {
        const std::uint32_t low = (static_cast<std::uint32_t>(mac.octets[4]) << 8) | mac.octets[3];
        return low ^ (static_cast<std::uint32_t>(mac.octets[5]) << 4);
    }
};

}  // namespace ravd

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
    // The same in lower case.
    std::string to_lower() const;
    // Twelve lower-case digits without colons.
    std::string to_digits() const;

    friend bool operator==(const MacAddr& a, const MacAddr& b) { return a.octets == b.octets; }
    friend bool operator!=(const MacAddr& a, const MacAddr& b) { return !(a == b); }
    friend bool operator<(const MacAddr& a, const MacAddr& b) { return a.octets < b.octets; }
};

// Reads six hexadecimal fields joined by colons at the start of a text, as "%02hhx:..." reads them; what follows does
// not matter. False, and `mac` all zero, unless six are there. A null text is an empty one.
bool parse_mac(const char* text, MacAddr& mac);

// Whether a text is six pairs of hexadecimal digits joined by colons and nothing else.
bool is_plain_mac(const char* text);

// Key hash of the per-radio tables; only the last three octets enter it.
struct mac_addr_hash {
    std::size_t operator()(const MacAddr& mac) const noexcept {
        const std::uint32_t low = (static_cast<std::uint32_t>(mac.octets[4]) << 8) | mac.octets[3];
        return low ^ (static_cast<std::uint32_t>(mac.octets[5]) << 4);
    }
};

}  // namespace ravd

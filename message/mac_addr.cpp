#include "message/mac_addr.h"

#include <cctype>
#include <cstdio>

namespace ravd {
namespace {

std::string format(const MacAddr& mac, const char* digits, bool colons) {
    std::string text;
    text.reserve(17);
    for (const std::uint8_t octet : mac.octets) {
        if (colons && !text.empty()) text += ':';
        text += digits[octet >> 4];
        text += digits[octet & 15];
    }
    return text;
}

constexpr char lower_digits[] = "0123456789abcdef";

}  // namespace

std::string MacAddr::to_string() const { return format(*this, "0123456789ABCDEF", true); }
std::string MacAddr::to_lower() const { return format(*this, lower_digits, true); }
std::string MacAddr::to_digits() const { return format(*this, lower_digits, false); }

bool parse_mac(const char* text, MacAddr& mac) {
    mac = {};
    MacAddr read;
    auto& o = read.octets;
    if (!text ||
        std::sscanf(text, "%02hhx:%02hhx:%02hhx:%02hhx:%02hhx:%02hhx", &o[0], &o[1], &o[2], &o[3], &o[4], &o[5]) != 6)
        return false;
    mac = read;
    return true;
}

bool is_plain_mac(const char* text) {
    for (int field = 0; field < 6; ++field) {
        if (!std::isxdigit(static_cast<unsigned char>(text[0])) || !std::isxdigit(static_cast<unsigned char>(text[1])))
            return false;
        if (text[2] != (field < 5 ? ':' : '\0')) return false;
        text += 3;
    }
    return true;
}

}  // namespace ravd

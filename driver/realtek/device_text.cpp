#include "driver/realtek/device_text.h"

#include <algorithm>
#include <cstring>

#include "core/decimal.h"

namespace ravd {
namespace {

constexpr const char* blanks = " \t\n\v\f\r";
constexpr std::size_t word_limit = 127;

}  // namespace

std::string find_driver_value(std::string_view text, std::string_view name) {
    constexpr std::string_view separator = ": ";
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.find(name) == std::string_view::npos) continue;
        const std::size_t at = line.find(separator);
        if (at != std::string_view::npos) return std::string(line.substr(at + separator.size()));
    }
    return {};
}

int scan_mib_reply(const char* text, std::string& word, int& value) {
    text += std::strspn(text, blanks);
    if (*text == '\0') return -1;
    const std::size_t length = std::min(std::strcspn(text, blanks), word_limit);
    word.assign(text, length);
    text += length;
    text += std::strspn(text, blanks);
    constexpr std::string_view label = "get_mib:";
    if (std::strncmp(text, label.data(), label.size()) != 0) return 1;
    return read_decimal(text + label.size(), value) ? 2 : 1;
}

bool has_control_character(std::string_view text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return true;
    return false;
}

std::string to_hex(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

}  // namespace ravd

#include "message/utf8.h"

#include <cstdint>

namespace ravd {

std::size_t utf8_sequence_length(const char* text, std::size_t length) {
    if (length == 0) return 0;
    const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80) return 1;
    std::size_t size = 0;
    std::uint8_t low = 0x80;  // range of the second byte; it keeps out overlong forms, surrogates, large values
    std::uint8_t high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        size = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        size = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        size = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    }
    if (size == 0 || size > length || byte(1) < low || byte(1) > high) return 0;
    for (std::size_t i = 2; i < size; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    return size;
}

bool is_utf8(const char* text, std::size_t length) {
    for (std::size_t at = 0; at < length;) {
        if (static_cast<std::uint8_t>(text[at]) < 0x80) {  // nearly every byte
            ++at;
            continue;
        }
        const std::size_t size = utf8_sequence_length(text + at, length - at);
        if (size == 0) return false;
        at += size;
    }
    return true;
}

std::string replace_non_utf8(const char* text, std::size_t length) {
    std::string out;
    out.reserve(length + 8);
    for (std::size_t at = 0; at < length;) {
        const std::size_t size = utf8_sequence_length(text + at, length - at);
        if (size == 0) {
            out += "\xEF\xBF\xBD";
            ++at;
        } else {
            out.append(text + at, size);
            at += size;
        }
    }
    return out;
}

}  // namespace ravd

// Bound on what the parsing of a text from outside may cost. Used by both sides that parse JSON: the message reader and
// the configuration tree.
#pragma once

#include <cstddef>

namespace ravd {

// Objects plus arrays of one received text. Three bytes of "{}," can cost over a kilobyte of tree.
constexpr std::size_t json_container_limit = 65536;

// True when `text` holds at most json_container_limit objects and arrays, strings left out. Where it cannot be sure
// that the parser sees the same strings, it counts too many, never too few: the parser accepts comments, whose end it
// finds in its own way, so from the first slash outside a string on every bracket counts.
inline bool json_containers_bounded(const char* text) {
    std::size_t containers = 0;
    char quote = 0;  // inside a string: the character that ends it
    bool plain = true;
    for (; *text; ++text) {
        const char c = *text;
        if (quote) {
            if (c == '\\') {
                if (!*++text) break;
            } else if (c == quote) {
                quote = 0;
            }
        } else if (c == '{' || c == '[') {
            if (++containers > json_container_limit) return false;
        } else if (c == '/') {
            plain = false;
        } else if ((c == '"' || c == '\'') && plain) {
            quote = c;
        }
    }
    return true;
}

}  // namespace ravd

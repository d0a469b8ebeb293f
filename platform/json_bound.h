// Bound on what the parsing of a text from outside may cost. Used by both sides that parse JSON: the message reader and
// the configuration tree.
#pragma once

#include <cstddef>

namespace ravd {

// Objects plus arrays of one received text. Three bytes of "{}," can cost over a kilobyte of tree.
constexpr std::size_t json_container_limit = 65536;

// Objects and arrays that `text` may hold, strings left out; counting ends above the limit. Where it cannot be sure
// that the parser sees the same strings, it counts too many, never too few: the parser accepts comments, whose end it
// finds in its own way, so from the first slash outside a string on every bracket counts.
inline std::size_t json_container_bound(const char* text) {
    std::size_t containers = 0;
    char quote = 0;  // inside a string: the character that ends it
    bool plain = true;
    for (; *text && containers <= json_container_limit; ++text) {
        const char c = *text;
        if (quote) {
            if (c == '\\') {
                if (!*++text) break;
            } else if (c == quote) {
                quote = 0;
            }
        } else if (c == '{' || c == '[') {
            ++containers;
        } else if (c == '/') {
            plain = false;
        } else if ((c == '"' || c == '\'') && plain) {
            quote = c;
        }
    }
    return containers;
}

inline bool json_containers_bounded(const char* text) { return json_container_bound(text) <= json_container_limit; }

}  // namespace ravd

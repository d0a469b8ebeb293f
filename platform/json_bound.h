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
    bool plain = true;
    while (containers <= json_container_limit) {
        const char c = *text;
        if (c == '\0') break;
        ++text;
        if ((c == '"' || c == '\'') && plain) {
            while (*text != c && *text != '\0') {
                if (*text == '\\' && text[1] != '\0') ++text;
                ++text;
            }
            if (*text == c) ++text;
        } else if (c == '{' || c == '[') {
            ++containers;
        } else if (c == '/') {
            plain = false;
        }
    }
    return containers;
}

inline bool json_containers_bounded(const char* text) { return json_container_bound(text) <= json_container_limit; }

}  // namespace ravd

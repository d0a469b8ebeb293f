// Bound on what the parsing of a text from outside may cost. Used by both sides that parse JSON: the message reader and
// the configuration tree.
#pragma once

#include <array>
#include <cstddef>

namespace ravd {

// Objects plus arrays of one received text. Three bytes of "{}," can cost over a kilobyte of tree.
constexpr std::size_t json_container_limit = 65536;
// Commas, and so members and elements. Two bytes of "1," cost 72 of tree, a short member close to 200. Twice what the
// largest message of the protocol has.
constexpr std::size_t json_comma_limit = 262144;

struct json_bound {
    std::size_t containers = 0;
    std::size_t commas = 0;

    bool holds() const { return containers <= json_container_limit && commas <= json_comma_limit; }
};

// Bytes that mean something between strings.
inline constexpr std::array<bool, 256> json_marks = [] {
    std::array<bool, 256> marks{};
    for (const char mark : {'\0', '"', '\'', '{', '[', ',', '/'})
        marks[static_cast<unsigned char>(mark)] = true;
    return marks;
}();
// Bytes that may end a string, or take the meaning of the next one.
inline constexpr std::array<bool, 256> json_string_marks = [] {
    std::array<bool, 256> marks{};
    for (const char mark : {'\0', '"', '\'', '\\'})
        marks[static_cast<unsigned char>(mark)] = true;
    return marks;
}();

// The first byte from `text` on that is one of `marks`, which include the final NUL.
inline const char* find_mark(const char* text, const std::array<bool, 256>& marks) {
    while (!marks[static_cast<unsigned char>(*text)])
        ++text;
    return text;
}

// Objects and arrays, and commas, that `text` may hold, strings left out; counting ends above a limit. Where it cannot
// be sure that the parser sees the same strings, it counts too many, never too few: the parser accepts comments, whose
// end it finds in its own way, so from the first slash outside a string on everything counts.
inline json_bound bound_of_json(const char* text) {
    json_bound bound;
    bool plain = true;
    while (bound.holds()) {
        text = find_mark(text, json_marks);
        const char c = *text;
        if (c == '\0') break;
        ++text;
        if ((c == '"' || c == '\'') && plain) {
            for (text = find_mark(text, json_string_marks); *text != c && *text != '\0';) {
                if (*text == '\\' && text[1] != '\0') ++text;
                text = find_mark(text + 1, json_string_marks);
            }
            if (*text == c) ++text;
        } else if (c == '{' || c == '[') {
            ++bound.containers;
        } else if (c == ',') {
            ++bound.commas;
        } else if (c == '/') {
            plain = false;
        }
    }
    return bound;
}

inline bool is_bounded_json(const char* text) { return bound_of_json(text).holds(); }

}  // namespace ravd

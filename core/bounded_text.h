// Texts of a fixed size.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace ravd {

// Copies what fits and terminates it.
template <std::size_t N>
void copy_text(char (&to)[N], std::string_view from) {
    const std::size_t length = from.size() < N ? from.size() : N - 1;
    if (length) std::memcpy(to, from.data(), length);
    to[length] = '\0';
}

}  // namespace ravd

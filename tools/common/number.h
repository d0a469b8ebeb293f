// Numbers in texts that a person typed: decimal digits, perhaps behind a minus, and nothing else.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace ravd {

// False, with `out` untouched, when the text is no such number or lies outside `low` .. `high`.
bool parse_number(std::string_view text, std::int64_t low, std::int64_t high, std::int64_t& out);

// The same into an integer of any kind that holds `low` .. `high`.
template <typename Integer>
bool parse_number(std::string_view text, std::int64_t low, std::int64_t high, Integer& out) {
    std::int64_t value = 0;
    if (!parse_number(text, low, high, value)) return false;
    out = static_cast<Integer>(value);
    return true;
}

// Numbers separated by commas or blanks, each within `low` .. `high`. A text without any gives none.
bool parse_numbers(std::string_view text, int low, int high, std::vector<int>& out);

}  // namespace ravd

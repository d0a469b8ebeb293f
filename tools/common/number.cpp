#include "tools/common/number.h"

#include <algorithm>

namespace ravd {

bool parse_number(std::string_view text, std::int64_t low, std::int64_t high, std::int64_t& out) {
    const bool negative = !text.empty() && text[0] == '-';
    if (negative) text.remove_prefix(1);
    if (text.empty() || text.size() > 18) return false;  // 18 digits always fit
    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    if (negative) value = -value;
    if (value < low || value > high) return false;
    out = value;
    return true;
}

bool parse_numbers(std::string_view text, int low, int high, std::vector<int>& out) {
    std::vector<int> numbers;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(", "), text.size());
        int number = 0;
        if (end > 0 && !parse_number(text.substr(0, end), low, high, number)) return false;
        if (end > 0) numbers.push_back(number);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    out = std::move(numbers);
    return true;
}

}  // namespace ravd

#include "core/decimal.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace ravd {

const char* read_decimal(const char* text, int& value) {
    if (!text) return nullptr;
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text) return nullptr;
    using limits = std::numeric_limits<int>;
    value = static_cast<int>(std::clamp<long>(number, limits::min(), limits::max()));
    return end;
}

}  // namespace ravd

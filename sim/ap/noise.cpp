#include "sim/ap/noise.h"

namespace ravd::sim {

std::uint32_t mix(std::initializer_list<std::uint32_t> numbers) {
    std::uint32_t hash = 0x9e3779b9;
    for (const std::uint32_t number : numbers) {
        hash ^= number + 0x9e3779b9 + (hash << 6) + (hash >> 2);
        hash = (hash ^ (hash >> 16)) * 0x85ebca6b;
        hash = (hash ^ (hash >> 13)) * 0xc2b2ae35;
        hash ^= hash >> 16;
    }
    return hash;
}

int wobble(std::uint32_t bits, int span) {
    if (span <= 0) return 0;
    // The sum of four even dice.
    int sum = 0;
    for (int shift = 0; shift < 32; shift += 8)
        sum += static_cast<int>((bits >> shift) & 0xFF);
    return (sum - 510) * span / 510;
}

}  // namespace ravd::sim

#include "sim/common/dice.h"

namespace ravd::sim {

std::uint64_t scramble(std::uint64_t number) {
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9;
    number = (number ^ (number >> 27)) * 0x94d049bb133111eb;
    return number ^ (number >> 31);
}

double bell(std::uint64_t bits, double span) {
    // The sum of eight even dice.
    int sum = 0;
    for (int shift = 0; shift < 64; shift += 8)
        sum += static_cast<int>((bits >> shift) & 0xFF);
    return (sum - 1020) / 1020.0 * span;
}

}  // namespace ravd::sim

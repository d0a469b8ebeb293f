// Repeatable chance, the same on every machine: the standard library's distributions are not.
#pragma once

#include <cstdint>

namespace ravd::sim {

// 64 well-mixed bits of a number.
std::uint64_t scramble(std::uint64_t number);

// About bell-shaped around 0, within -span .. span, from 64 even bits; its standard deviation is 0.2 x span.
double bell(std::uint64_t bits, double span);

// Numbers one after the other.
class dice {
  public:
    explicit dice(std::uint64_t seed) : state_(scramble(seed)) {}
    std::uint64_t bits() { return scramble(state_ += 0x9e3779b97f4a7c15); }
    // Whole numbers, both ends included.
    int roll(int low, int high) { return low + static_cast<int>(bits() % static_cast<unsigned>(high - low + 1)); }
    // In steps of a tenth.
    double between(double low, double high) { return low + roll(0, static_cast<int>((high - low) * 10)) / 10.0; }
    bool chance(int percent) { return roll(1, 100) <= percent; }

  private:
    std::uint64_t state_;
};

}  // namespace ravd::sim

// Repeatable chance: the same question gets the same answer in every run of a scenario, whatever was asked before.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace ravd::sim {

// 32 well-mixed bits of the numbers given.
std::uint32_t mix(std::initializer_list<std::uint32_t> numbers);

// About bell-shaped around 0, within -span .. span.
int wobble(std::uint32_t bits, int span);

}  // namespace ravd::sim

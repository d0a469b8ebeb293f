// Time as the lab service uses it.
#pragma once

#include <string>

namespace ravd::lab {

// Monotonic time since some start, for intervals.
double monotonic_seconds();
// Wall-clock time: "2026-03-01T12:00:00.123Z" (UTC), and "12:00:00.123" (local) for people.
std::string timestamp();
std::string time_of_day();

}  // namespace ravd::lab

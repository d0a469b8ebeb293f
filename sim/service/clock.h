// Time as the lab service uses it.
#pragma once

#include <string>

#include "platform/monotonic.h"

namespace ravd::sim {

// Monotonic time since some start, for intervals.
inline double monotonic_seconds() { return static_cast<double>(monotonic_ms()) / 1000; }
// Wall-clock time: "2026-03-01T12:00:00.123Z" (UTC), and "12:00:00.123" (local) for people.
std::string timestamp();
std::string timestamp(std::int64_t ms);
// Milliseconds since 1970, UTC.
std::int64_t wall_ms();
std::string time_of_day();

}  // namespace ravd::sim

// The kernel port's monotonic clock as a plain number.
#pragma once

#include <cstdint>

#include "platform/system.h"

namespace ravd {

// Milliseconds since some fixed moment; never goes back.
inline std::int64_t monotonic_ms() {
    const timespec now = sys::monotonic_now();
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace ravd

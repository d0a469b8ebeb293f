#include "link/keep_alive.h"

#include <algorithm>
#include <utility>

#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::uint32_t missed_pong_limit = 3;

}  // namespace

timespec keep_alive::now() { return sys::monotonic_now(); }

int keep_alive::until_due_ms(int longest) const {
    const timespec at = now();
    const std::int64_t wait_s = last_ping_.tv_sec + ping_interval_s - at.tv_sec;
    if (wait_s <= 0) return longest;
    return static_cast<int>(std::min<std::int64_t>(wait_s * 1000 - at.tv_nsec / 1000000, longest));
}

std::uint32_t keep_alive::take_missed() {
    return missed_pongs_ >= missed_pong_limit ? std::exchange(missed_pongs_, 0) : 0;
}

}  // namespace ravd

#include "link/backoff.h"

#include <algorithm>
#include <cstdlib>

#include "core/logger.h"

namespace ravd {
namespace {

constexpr std::uint32_t longest_delay_s = 1000000;

}  // namespace

backoff::backoff(std::uint32_t initial_delay_s, std::uint32_t max_delay_s)
    : initial_delay_(std::min(initial_delay_s, longest_delay_s)),
      max_delay_(std::min(max_delay_s, longest_delay_s)),
      current_delay_(initial_delay_) {}

std::uint32_t backoff::next_delay() {
    std::uint32_t span = current_delay_;
    if (span == 0) {
        current_delay_ = 1;
        span = 2;
    }
    current_delay_ *= 2;  // at most 2,000,000
    if (max_delay_ < current_delay_) current_delay_ = max_delay_;
    const std::uint32_t half = span / 2;
    log_debug(process_log, "Generate delay into [%u;%u) range\n", half, span + half);
    const std::uint32_t delay = static_cast<std::uint32_t>(std::rand()) % span + half;
    log_debug(process_log, "Delay before connection: %d sec\n", static_cast<int>(delay));
    return delay;
}

}  // namespace ravd

// The randomised delays between connection attempts.
#pragma once

#include <cstdint>

namespace ravd {

// Doubles the span with each delay drawn, up to a limit. All times are seconds; both are clamped to 0 .. 1,000,000.
class backoff {
  public:
    backoff(std::uint32_t initial_delay_s, std::uint32_t max_delay_s);

    // The delay before the next attempt: evenly from [span / 2, span + span / 2). A span of 0 counts as 2.
    std::uint32_t next_delay();
    // After a handshake: the span is the initial one again.
    void reset() { current_delay_ = initial_delay_; }

  private:
    const std::uint32_t initial_delay_;
    const std::uint32_t max_delay_;
    std::uint32_t current_delay_;
};

}  // namespace ravd

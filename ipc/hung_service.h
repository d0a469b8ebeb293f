// Whether the configuration service hangs.
#pragma once

#include <cstdint>

namespace ravd {

// After two waits in a row that ran out it counts as hung for 10 s: a service that hangs for good must not keep the
// agent for two seconds a setting. Then one request tries again. Times are milliseconds of the monotonic clock.
class hung_service {
  public:
    bool hangs(std::int64_t now_ms) const { return waits_ >= waits_limit && now_ms < until_ms_; }
    void waited_in_vain(std::int64_t now_ms) {
        if (waits_ < waits_limit) ++waits_;
        until_ms_ = now_ms + rest_ms;
    }
    void answered() { waits_ = 0; }

  private:
    static constexpr int waits_limit = 2;
    static constexpr std::int64_t rest_ms = 10000;

    int waits_ = 0;
    std::int64_t until_ms_ = 0;
};

}  // namespace ravd

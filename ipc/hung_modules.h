// Which neighbours on the bus hang.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ravd {

// After two waits in a row that ran out, a module counts as hung for 10 s: a neighbour that hangs for good must not
// keep the agent for two seconds a request. Then one request tries again. Modules below 8 only; times are milliseconds
// of the monotonic clock.
class hung_modules {
  public:
    bool hangs(int module, std::int64_t now_ms) const {
        const silence* one = find(module);
        return one && one->waits >= waits_limit && now_ms < one->until_ms;
    }
    void waited_in_vain(int module, std::int64_t now_ms) {
        silence* one = const_cast<silence*>(find(module));
        if (!one) return;
        if (one->waits < waits_limit) ++one->waits;
        one->until_ms = now_ms + rest_ms;
    }
    void answered(int module) {
        if (silence* one = const_cast<silence*>(find(module))) one->waits = 0;
    }

  private:
    static constexpr int waits_limit = 2;
    static constexpr std::int64_t rest_ms = 10000;

    struct silence {
        int waits = 0;
        std::int64_t until_ms = 0;
    };
    const silence* find(int module) const {
        const auto index = static_cast<std::size_t>(module);
        return index < modules_.size() ? &modules_[index] : nullptr;
    }

    std::array<silence, 8> modules_;
};

}  // namespace ravd

#include "platform/portable/short_look.h"

#include <sched.h>

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace ravd {
namespace {

constexpr int longest_rest = 63;

std::int64_t now_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

bool has_several_processors() {
    cpu_set_t ours;
    return sched_getaffinity(0, sizeof ours, &ours) == 0 && CPU_COUNT(&ours) > 1;
}

}  // namespace

bool short_look::wanted() {
    static const bool several = has_several_processors();
    if (rests_ == 0) return several;
    --rests_;
    return false;
}

int short_look::poll(pollfd* set, nfds_t count, int limit_ms, int longest_look_us) {
    if (limit_ms != 0 && wanted()) {
        const std::int64_t end = now_us() + longest_look_us;
        do {
            const int ready = ::poll(set, count, 0);
            if (ready == 0) continue;
            in_vain_ = 0;
            return ready;
        } while (now_us() < end);
        in_vain_ = std::min(2 * in_vain_ + 1, longest_rest);
        rests_ = in_vain_;
    }
    return ::poll(set, count, limit_ms);
}

}  // namespace ravd

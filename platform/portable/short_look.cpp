#include "platform/portable/short_look.h"

#include <sched.h>

#include <algorithm>

namespace ravd {
namespace {

constexpr int longest_rest = 63;

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

int short_look::poll(pollfd* set, nfds_t count, int limit_ms) {
    if (limit_ms != 0 && wanted()) {
        for (int looks = 0; looks < looks_at_most; ++looks) {
            const int ready = ::poll(set, count, 0);
            if (ready == 0) continue;
            in_vain_ = 0;
            return ready;
        }
        in_vain_ = std::min(2 * in_vain_ + 1, longest_rest);
        rests_ = in_vain_;
    }
    return ::poll(set, count, limit_ms);
}

}  // namespace ravd

#include "core/pulse.h"

#include <algorithm>

namespace ravd {
namespace {

// Seconds modulo 2^32, which every target loads and stores without a lock; 0: the slot is free.
std::atomic<std::uint32_t> slots[8];
static_assert(std::atomic<std::uint32_t>::is_always_lock_free, "read and written on every turn");

std::uint32_t stamp(std::int64_t now_s) { return std::max(static_cast<std::uint32_t>(now_s), 1u); }

}  // namespace

void pulse::start(std::int64_t now_s) {
    for (std::atomic<std::uint32_t>& slot : slots) {
        std::uint32_t expected = 0;
        if (!slot.compare_exchange_strong(expected, stamp(now_s))) continue;
        slot_ = &slot;
        return;
    }
}

void pulse::beat(std::int64_t now_s) {
    if (slot_) slot_->store(stamp(now_s), std::memory_order_relaxed);
}

void pulse::stop() {
    if (slot_) slot_->store(0);
    slot_ = nullptr;
}

std::int64_t pulse::longest_silence(std::int64_t now_s) {
    std::int32_t longest = 0;
    for (const std::atomic<std::uint32_t>& slot : slots) {
        const std::uint32_t last = slot.load(std::memory_order_relaxed);
        if (last != 0) longest = std::max(longest, static_cast<std::int32_t>(stamp(now_s) - last));
    }
    return longest;
}

}  // namespace ravd

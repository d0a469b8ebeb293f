// What the daemon keeps of memory that it needed for a moment.
#pragma once

#include <cstdint>

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif

namespace ravd {

#if defined(__GLIBC__) && !defined(__UCLIBC__)

// Large blocks always go back to the system when they are freed: by itself the C library raises the limit, with each
// one freed, up to 32 MiB, and keeps what is below. All threads share one heap: of the others it would keep what is
// free at their ends, which after a burst is megabytes. Called while one thread runs.
inline void keep_heap_small() {
    constexpr int large_block = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, large_block);
    mallopt(M_TRIM_THRESHOLD, large_block);
    mallopt(M_ARENA_MAX, 1);
}

// Gives free memory between used blocks back, too. Takes up to some milliseconds for each ten MiB.
inline void return_free_memory() { malloc_trim(0); }

#else

inline void keep_heap_small() {}
inline void return_free_memory() {}

#endif

// When to give free memory back: at once after something large, else a minute after the last time. Many small things
// can leave megabytes free below one that lives on, and a minute's work costs one look that way.
class free_memory {
  public:
    void large_freed() { large_ = true; }  // give it back at the next rest
    void used() { used_ = true; }          // something was allocated and freed
    // To be called before a wait. `now_ms` on the monotonic clock.
    void rest(std::int64_t now_ms) {
        if (!large_ && (!used_ || now_ms - returned_ms_ < period_ms)) return;
        large_ = used_ = false;
        returned_ms_ = now_ms;
        return_free_memory();
    }

  private:
    static constexpr std::int64_t period_ms = 60000;

    bool large_ = false;
    bool used_ = false;
    std::int64_t returned_ms_ = 0;
};

}  // namespace ravd

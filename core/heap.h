// What the daemon keeps of memory that it needed for a moment.
#pragma once

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif

namespace ravd {

#if defined(__GLIBC__) && !defined(__UCLIBC__)

// Large blocks always go back to the system when they are freed: by itself the C library raises the limit, with each
// one freed, up to 32 MiB, and keeps what is below. Called while one thread runs.
inline void keep_heap_small() {
    constexpr int large_block = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, large_block);
    mallopt(M_TRIM_THRESHOLD, large_block);
}

// Gives free memory between used blocks back, too. Takes up to some milliseconds for each ten MiB.
inline void return_free_memory() { malloc_trim(0); }

#else

inline void keep_heap_small() {}
inline void return_free_memory() {}

#endif

}  // namespace ravd

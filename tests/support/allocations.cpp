#include "tests/support/allocations.h"

#include <cstdlib>
#include <new>

static thread_local long count = 0;

// clang's thread sanitizer brings these operators itself: nothing is counted there.
#ifdef __clang__
#define RAVD_FOREIGN_NEW __has_feature(thread_sanitizer)
#else
#define RAVD_FOREIGN_NEW 0
#endif
#if !RAVD_FOREIGN_NEW
void* operator new(std::size_t size) {
    ++count;
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    std::abort();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++count;
    return std::malloc(size ? size : 1);
}
// Inlined, they would seem to free what no malloc gave.
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#endif

long ravd::testing::allocations() { return count; }

#include "tests/support/allocations.h"

#include <cstdlib>
#include <new>

static thread_local long count = 0;

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

long ravd::testing::allocations() { return count; }

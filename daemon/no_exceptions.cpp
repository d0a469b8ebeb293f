// What the runtime's headers call in place of a throw, and the heap's operators. Nobody takes an exception here, so all
// of it is one end, and a call needs neither an import nor a text; runtime.map keeps it to the program. Where the
// runtime is linked in these stand in front of its own, weak: one that is put together in another way links all the
// same, only with more of its own.
#include <bits/functexcept.h>

#include <cstdlib>
#include <exception>
#include <new>

#include "core/worker.h"

#ifdef RAVD_LINKED_RUNTIME
#define RAVD_STAND_IN [[gnu::weak]]
#else
#define RAVD_STAND_IN
#endif

void* operator new(std::size_t size) {
    if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
    ravd::end_unhandled();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size > 0 ? size : 1); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return operator new(size, std::nothrow); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace std {

RAVD_STAND_IN void __throw_bad_alloc() { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_bad_array_new_length() { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_bad_function_call() { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_length_error(const char*) { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_logic_error(const char*) { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_out_of_range(const char*) { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_out_of_range_fmt(const char*, ...) { ravd::end_unhandled(); }
RAVD_STAND_IN void __throw_system_error(int) { ravd::end_unhandled(); }

}  // namespace std

extern "C" RAVD_STAND_IN void __cxa_pure_virtual() { ravd::end_unhandled(); }

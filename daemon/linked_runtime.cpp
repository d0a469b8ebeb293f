// A C++ runtime without exceptions, for a daemon that has its runtime linked in. Nobody takes an exception here; the
// runtime's own functions would bring along the unwinder, its tables and texts: 50 KB. These stand in front of them,
// weak: a runtime that is put together in another way links all the same, only with more of its own.
#include <cstddef>
#include <exception>

#include "core/worker.h"

namespace std {

[[gnu::weak]] void terminate() noexcept { ravd::end_unhandled(); }

}  // namespace std

namespace __cxxabiv1 {

extern std::terminate_handler __terminate_handler;
[[gnu::weak]] std::terminate_handler __terminate_handler = ravd::end_unhandled;

// What the runtime names for once something was thrown.
extern "C" {
[[gnu::weak]] void* __cxa_allocate_exception(std::size_t) noexcept { std::terminate(); }
[[gnu::weak]] void __cxa_free_exception(void*) noexcept { std::terminate(); }
[[gnu::weak]] void __cxa_throw() { std::terminate(); }
[[gnu::weak]] void __cxa_rethrow() { std::terminate(); }
[[gnu::weak]] void __cxa_begin_catch() { std::terminate(); }
[[gnu::weak]] void __cxa_end_catch() { std::terminate(); }
[[gnu::weak]] void __gxx_personality_v0() { std::terminate(); }
[[gnu::weak]] void _Unwind_Resume() { std::terminate(); }
}

}  // namespace __cxxabiv1

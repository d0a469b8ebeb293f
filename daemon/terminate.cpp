// The runtime's own handler prints the type of an exception that nobody caught, and brings a demangler for it: 50 KB. A
// worker catches what escapes (core/worker.cpp); what ends the process here is a bug, of which a core dump tells more.
#include <cstdlib>
#include <exception>

namespace __cxxabiv1 {

extern std::terminate_handler __terminate_handler;
std::terminate_handler __terminate_handler = std::abort;

}  // namespace __cxxabiv1

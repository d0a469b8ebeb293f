// Where an exception of the C++ runtime arrives: no code of ours takes any.
#include <exception>

#include "core/worker.h"

namespace {

const bool handler_set = std::set_terminate(ravd::end_unhandled);

}  // namespace

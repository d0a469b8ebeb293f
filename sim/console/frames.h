// What the page is told, as JSON; docs/console.md says what it means.
#pragma once

#include "sim/common/json.h"

namespace ravd::sim {

json_ptr hello_frame(const char* mode);
json_ptr ready_frame();

}  // namespace ravd::sim

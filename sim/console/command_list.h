// The commands as a page needs them for its forms.
#pragma once

#include <string>

#include "sim/common/json.h"

namespace ravd::sim {

// Those a page may give: they read no files, do not wait and do not end the service.
bool page_may(const std::string& word);

// An array of them, each with its arguments.
json_ptr command_list();

}  // namespace ravd::sim

// Requests to the device's daemons and what their answers say, as configuration trees.
#pragma once

#include "ipc/ctree_ptr.h"

namespace ravd {

constexpr const char* reset_error_text = "Error: can't reset Corvane params\n";

// {"command": command}
ctree_ptr new_request(const char* command);

// Whether "status" is "ok".
bool is_ok(const ctree* answer);
// "reason", or "invalid response". Valid as long as the answer.
const char* reason_of(const ctree* answer);

// Logs a tree's readable text at debug level.
void log_tree(const char* name, const ctree* tree);

}  // namespace ravd

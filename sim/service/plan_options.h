// The options of "plan", as words: max-changes=10 width=40 ...
#pragma once

#include <string>
#include <vector>

#include "sim/service/arguments.h"
#include "sim/service/domain/proposal.h"

namespace ravd::sim {

// False with the reason in `error`, and nothing changed.
bool set_option(plan_options& options, const argument& a, std::string& error);
// Those that are not as at the start, each behind a blank.
std::string option_text(const plan_options& options);
std::vector<std::string> option_names();
// " [max-changes=0] [min-gain=0.1] ..." with the values of the start.
std::string option_usage();

}  // namespace ravd::sim

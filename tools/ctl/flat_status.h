// A status as lines that people read and scripts cut.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ravd::ctl {

// Name with dots ("link.host") and value of each leaf, in the order of the text. False: not a JSON object.
using flat_status = std::vector<std::pair<std::string, std::string>>;
bool flatten(const std::string& json, flat_status& leaves);

// What is different in `now`, without what counts or ages (members of "counted", names that end in "_s", clock ages): a
// leaf of its own for each, with an empty value when it is gone.
flat_status changes(const flat_status& before, const flat_status& now);

}  // namespace ravd::ctl

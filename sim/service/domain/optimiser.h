// Looks for the setting of a domain that costs least.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sim/service/domain/interference.h"

namespace ravd::sim {

struct search_limits {
    std::size_t max_changes = 0;  // radios that may change; 0: any number
    double min_gain = 0.1;        // what every change has to bring, in units of cost
    std::uint32_t seed = 1;
    double effort = 1;  // how long to search, in parts of what is usual
};

// The same model, limits and seed give the same assignment. Radios that must leave their block or need more power
// change in any case, and count first. Never costs more than the present setting with these forced changes.
assignment find_plan(const interference& costs, const search_limits& limits);

// The present setting with what must change: blocks to the one that costs least there, powers that are too low.
assignment forced_changes(const interference& costs);

// What every radio's change brings: by how much the total rises when it alone is taken back. 0 where nothing changes.
std::vector<double> gains(const interference& costs, const assignment& plan);

}  // namespace ravd::sim

// Where clients of a domain may go: 802.11k lists from who hears whom, and radios that should give clients away.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/domain/interference.h"

namespace ravd::sim {

struct neighbour_limits {
    std::size_t most = 8;  // for each radio, the loudest
    double weakest = -85;  // dBm: who is heard less is no neighbour
};

// The "802dot11k" array of an access point: for each of its radios the others of its band that it hears, or that hear
// it, the loudest with the highest priority; on the channels of `plan`.
json_ptr neighbour_lists(const interference& costs, const assignment& plan, const std::string& ap_mac,
                         const neighbour_limits& limits = {});

// A radio with far more clients than the neighbours they could go to.
struct overloaded_radio {
    std::size_t radio = 0;  // in the model
    std::size_t clients = 0;
    double neighbours_mean = 0;
    int leave = 0;  // how many clients to ask
};

struct overload_limits {
    double factor = 2;      // times the mean of the neighbours...
    std::size_t least = 5;  // ...and at least so many more
    double reach = -75;     // dBm: a neighbour that takes clients over is heard at least so loud
};

std::vector<overloaded_radio> overloaded_radios(const interference& costs, const overload_limits& limits = {});

// The lists for those: only neighbours with fewer clients than their mean.
json_ptr relief_list(const interference& costs, const overloaded_radio& from, const overload_limits& limits = {});

}  // namespace ravd::sim

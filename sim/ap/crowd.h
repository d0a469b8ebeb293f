// A crowd made from the scenario's seed, where writing each neighbour and station by hand would be too much.
#pragma once

#include "sim/ap/scenario.h"

namespace ravd::sim {

// Adds neighbours, spread over the channels that dwellings use, and stations, spread over the VAPs that have an SSID.
void add_crowd(scenario& target, int neighbours, int stations);

}  // namespace ravd::sim

// Scenario files of a whole building, one for each access point, ready to run in one air.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/common/building.h"

namespace ravd::sim {

// "building:30": a kind and 1 to 500 access points. False for anything else.
bool parse_building(const std::string& text, building_kind& kind, int& access_points);

// The scenario of one access point: itself, the stations set up near it, and the strangers that it may hear.
std::string scenario_text(const building& from, std::size_t access_point);

// Writes DIRECTORY/ap-01.json and so on. How many, or 0 with the reason.
std::size_t write_scenarios(const building& from, const std::string& directory, std::string& reason);

}  // namespace ravd::sim

// What the access points of a made building would report, without running them.
#pragma once

#include <vector>

#include "sim/common/building.h"
#include "sim/service/domain/model.h"

namespace ravd::sim {

// One description and one report of a scan each, as the radios are set in `made`. A station belongs to the radio that
// it hears best, 5 GHz before 2.4 GHz as long as it is loud; one that hears none is nowhere.
std::vector<access_point_view> building_reports(const building& made);

}  // namespace ravd::sim

// Radios of mainline Linux, which a build may leave out: mainline.cpp or no_mainline.cpp stands behind this.
#pragma once

#include "driver/back_end.h"

namespace ravd {

// The process's one, or null where it is left out.
back_end_source* mainline_back_ends();

}  // namespace ravd

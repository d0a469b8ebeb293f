#include "core/version.h"

namespace ravd {

const char* version() { return RAVD_VERSION; }

}  // namespace ravd

// The version of the daemon and its tools.
#pragma once

namespace ravd {

// As the build names it, "1.2.3". Lives as long as the process.
const char* version();

}  // namespace ravd

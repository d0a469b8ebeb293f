#include "driver/board/mainline.h"

namespace ravd {

back_end_source* mainline_back_ends() { return nullptr; }

}  // namespace ravd

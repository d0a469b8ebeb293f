#include "driver/board/mainline.h"

#include "driver/nl80211/nl80211_back_end.h"

namespace ravd {

back_end_source* mainline_back_ends() {
    static nl80211_back_ends back_ends;
    return &back_ends;
}

}  // namespace ravd

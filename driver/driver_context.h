// What the parts of the driver share: the radios, the configuration client, and the way to a radio's back-end.
#pragma once

#include "driver/back_end.h"
#include "driver/radio_state.h"
#include "ipc/ipc_helper.h"

namespace ravd {

struct driver_context {
    radio_state& radios;
    ipc_helper& requests;
    back_end_source& back_ends;

    std::unique_ptr<back_end> back_end_of(const char* ifname) const {
        return back_ends.back_end_of(requests.progress(), ifname);
    }
};

}  // namespace ravd

// Messages from the link's producer that are for the link itself.
#pragma once

#include "core/buffer.h"

namespace ravd {

constexpr char internal_service[] = "internal-ipc";

enum class internal_command {
    none,    // not internal: the message goes to the service
    other,   // internal, and nothing is to be done
    status,  // answer with the state of the link
    unlink,  // drop the link for good
};

// What `buffer` wants. A message with the command "update-timezone" makes the process read its time zone again,
// whatever else it is.
internal_command read_internal(const buffer_info_t& buffer);

}  // namespace ravd

// Waiting for the answer to a request.
#pragma once

#include <cstdint>

#include "platform/portable/bus_endpoint.h"

struct ctree;

namespace ravd {

// Waits for the message whose "command" member is `answer`, after a request was sent over the connection `request` (0:
// it was not accepted). At most `timeout` tenths of a second; null then, and at once when that connection is closed
// without the answer. Other messages are dropped. The caller releases the tree.
ctree* wait_bus_answer(bus_endpoint& bus, std::uint64_t request, const char* answer, int timeout);

}  // namespace ravd

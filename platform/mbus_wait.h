// Serving the bus within a wait of the caller's own, beside the device's own bus calls, which can only be asked
// (mbus.h). A device whose library cannot do that links platform/polling in place of this, and the daemon asks ten
// times a second.
#pragma once

struct mbus_endpoint;

// Before mbus_peer_start: from then on the endpoint has no thread, and its bytes move in the calls for it, above all in
// mbus_wait. Holds until mbus_release. False where the library cannot do that.
bool mbus_serve_in_waits(mbus_endpoint* bus);

// Moves what can be moved, once something can, the descriptor `wake_fd` (-1: none) is readable or `limit_ms` are over.
// mbus_get_msg_from_queue_no_wait has what came. Whether `wake_fd` is readable. Returns at once when the loop state is
// 0. Meanwhile others may send and ask for the loop state, one at a time.
bool mbus_wait(mbus_endpoint* bus, int wake_fd, int limit_ms);

// Learning that the bus has something, beside the device's own bus calls, which can only be asked (mbus.h). A device
// whose library cannot tell links platform/polling in place of this, and the daemon asks ten times a second.
#pragma once

struct mbus_endpoint;

// Has `call` called with `context` when a message arrives after mbus_get_msg_from_queue_no_wait answered null, and when
// the loop state turns 0 by itself. Called from any thread, also within other calls for this endpoint: it may do no
// more than wake somebody. Holds until mbus_release. False where the library cannot tell.
bool mbus_call_on_arrival(mbus_endpoint* bus, void (*call)(void* context), void* context);

// Sending many messages at once, beside the device's own bus calls, which can only send one (mbus.h). A device whose
// library cannot join messages links platform/polling in place of this.
#pragma once

#include <cstddef>

struct mbus_endpoint;

// Like mbus_msg_send, where the next one follows at once: the message may be kept back for those that follow, until one
// is sent by mbus_msg_send. What is lost with a receiver that goes away can be all that was kept back.
int mbus_msg_send_in_row(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length);
// Where none follows after all. Does nothing when nothing is kept back.
void mbus_end_row(mbus_endpoint* bus);

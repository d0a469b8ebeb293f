// Debug dump of a message.
#pragma once

namespace ravd {

struct buffer_info_t;

// Writes its tree text when it is a JSON object, else hexadecimal. Does nothing unless debug output is on.
void dump_buffer(const buffer_info_t& buffer);

}  // namespace ravd

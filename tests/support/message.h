// A message as the queues carry it.
#pragma once

#include <string_view>

#include "core/buffer.h"

namespace ravd::testing {

inline std::shared_ptr<buffer_info_t> message(std::string_view text) {
    auto buffer = make_buffer();
    buffer->append(text.data(), text.size());
    return buffer;
}

}  // namespace ravd::testing

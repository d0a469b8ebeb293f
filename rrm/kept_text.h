// Texts from outside that the agent keeps or sends on.
#pragma once

#include <cstddef>
#include <cstring>

#include "core/logger.h"
#include "message/json.h"

namespace ravd {

// Bytes. Escaped, several times copied or in every message from then on, a longer text could cost a hundred megabytes
// or make each message too long for its queue.
constexpr std::size_t kept_text_limit = 128 * 1024;

// Text of a member. Null when it is absent or, with a warning, too long.
inline const char* kept_text(const json_reader& object, const char* key) {
    const char* text = object.get_string(key);
    const std::size_t length = text ? std::strlen(text) : 0;
    if (length <= kept_text_limit) return text;
    log_warning(process_log, "A \"%s\" of %zu bytes or more is too long: it counts as absent\n", key, length);
    return nullptr;
}

}  // namespace ravd

#include "core/buffer.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/logger.h"

namespace ravd {

buffer_info_t::~buffer_info_t() { std::free(data); }

char* buffer_info_t::append(const char* src, std::size_t len) {
    if (!src || len == 0) return data;
    constexpr std::size_t largest = std::numeric_limits<std::uint32_t>::max() - 1;  // room for the final NUL
    const bool fits = len <= largest - size;
    const std::size_t needed = size + len + 1;
    // What comes in pieces gets an eighth more room than it needs: else each piece may cost a copy of all before it.
    const std::size_t wanted = size == 0 ? needed : needed + size / 8;
    char* grown = data;
    if (!fits)
        grown = nullptr;
    else if (needed > room_)
        grown = static_cast<char*>(std::realloc(data, wanted));
    if (!grown) {
        log_error(process_log, "%s:%d Can't alloc memory\n", "append",
                  133);  // stands for this text, wherever the line is
        return nullptr;
    }
    std::memcpy(grown + size, src, len);
    if (needed > room_) room_ = wanted;
    data = grown;
    size += static_cast<std::uint32_t>(len);
    data[size] = '\0';
    return data;
}

std::shared_ptr<buffer_info_t> make_buffer() { return std::make_shared<buffer_info_t>(); }

}  // namespace ravd

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
    char* grown = fits ? static_cast<char*>(std::realloc(data, size + len + 1)) : nullptr;
    if (!grown) {
        log_error(process_log, "%s:%d Can't alloc memory\n", "append",
                  133);  // stands for this text, wherever the line is
        return nullptr;
    }
    std::memcpy(grown + size, src, len);
    data = grown;
    size += static_cast<std::uint32_t>(len);
    data[size] = '\0';
    return data;
}

std::shared_ptr<buffer_info_t> make_buffer() { return std::make_shared<buffer_info_t>(); }

}  // namespace ravd

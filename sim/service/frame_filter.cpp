#include "sim/service/frame_filter.h"

#include <algorithm>

namespace ravd::sim {

void frame_filter::feed(const char* data, std::size_t size, std::string& out, const judge& keep) {
    const char* const end = data + size;
    while (data != end) {
        if (state_ == state::handshake) {
            const char c = *data++;
            out += c;
            const char expected = line_ends_ % 2 == 0 ? '\r' : '\n';
            line_ends_ = c == expected ? line_ends_ + 1 : c == '\r' ? 1 : 0;
            if (line_ends_ == 4) state_ = state::header;
        } else if (state_ == state::header) {
            header_[have_++] = static_cast<unsigned char>(*data++);
            if (have_ >= 2 && have_ == header_size(header_)) header_complete(out, keep);
        } else {
            const auto part =
                static_cast<std::size_t>(std::min<std::uint64_t>(remaining_, static_cast<std::uint64_t>(end - data)));
            if (passing_) out.append(data, part);
            data += part;
            remaining_ -= part;
            if (remaining_ == 0) state_ = state::header;
        }
    }
}

std::size_t frame_filter::header_size(const unsigned char* header) {
    const unsigned length = header[1] & 0x7f;
    return 2u + (length == 126 ? 2u : length == 127 ? 8u : 0u) + ((header[1] & 0x80) ? 4u : 0u);
}

void frame_filter::header_complete(std::string& out, const judge& keep) {
    std::uint64_t length = header_[1] & 0x7f;
    const std::size_t extra = length == 126 ? 2 : length == 127 ? 8 : 0;
    if (extra != 0) {
        length = 0;
        for (std::size_t i = 0; i < extra; ++i)
            length = length << 8 | header_[2 + i];
    }
    passing_ = keep(frame{static_cast<std::uint8_t>(header_[0] & 0x0f), (header_[0] & 0x80) != 0, length});
    if (passing_) out.append(reinterpret_cast<const char*>(header_), have_);
    have_ = 0;
    remaining_ = length;
    if (remaining_ != 0) state_ = state::payload;
}

}  // namespace ravd::sim

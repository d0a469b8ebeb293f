#include "tools/common/line_buffer.h"

#include <unistd.h>

#include <cerrno>

namespace ravd {

void line_buffer::fill(int fd) {
    char piece[64 * 1024];
    const ssize_t n = ::read(fd, piece, sizeof piece);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0)
        ended_ = true;
    else
        held_.append(piece, static_cast<std::size_t>(n));
}

bool line_buffer::next(std::string& line) {
    for (;;) {
        const std::size_t end = held_.find('\n', scanned_);
        const bool whole = end != std::string::npos;
        const std::size_t size = (whole ? end : held_.size()) - begin_;
        const bool last = !whole && ended_ && size > 0;
        if (!skipping_ && size > limit_) {
            skipping_ = true;
            ++overflows_;
        }
        if (!whole && !last) {
            held_.erase(0, skipping_ ? held_.size() : begin_);
            begin_ = 0;
            scanned_ = held_.size();
            return false;
        }
        const bool dropped = skipping_;
        if (!dropped) line.assign(held_, begin_, size);
        begin_ = scanned_ = whole ? end + 1 : held_.size();
        skipping_ = false;
        if (!dropped) return true;
    }
}

bool line_buffer::take_overflow() {
    if (overflows_ == 0) return false;
    --overflows_;
    return true;
}

}  // namespace ravd

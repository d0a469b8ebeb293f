// Cuts what a descriptor brings into lines.
#pragma once

#include <cstddef>
#include <string>

namespace ravd {

class line_buffer {
  public:
    // Lines longer than `limit` bytes are dropped.
    explicit line_buffer(std::size_t limit) : limit_(limit) {}

    void append(const char* bytes, std::size_t size) { held_.append(bytes, size); }
    // Nothing comes any more: what is left counts as a line.
    void end() { ended_ = true; }
    // Reads once from a descriptor, which may be blocking when poll() reported it, and sees its end.
    void fill(int fd);

    // The next line without its end; false when none is complete.
    bool next(std::string& line);
    // True once for each line that was dropped.
    bool take_overflow();
    bool ended() const { return ended_; }

  private:
    std::size_t limit_;
    std::string held_;
    std::size_t begin_ = 0;    // of the next line in held_
    std::size_t scanned_ = 0;  // no line end between begin_ and here
    bool skipping_ = false;    // the rest of a line that was too long
    int overflows_ = 0;
    bool ended_ = false;
};

}  // namespace ravd

// Lines of a descriptor, read as far as they are there.
#pragma once

#include <cstddef>
#include <string>

namespace ravd::bus_tool {

class line_input {
  public:
    // Lines longer than `limit` bytes are dropped.
    line_input(int fd, std::size_t limit) : fd_(fd), limit_(limit) {}

    // Reads once. Blocks when nothing is there: poll first.
    void fill();
    // The next line without its end; false when none is complete. The rest of the input counts as a line at its end.
    bool next(std::string& line);
    // True once for each line that was dropped.
    bool take_overflow();
    bool ended() const { return ended_; }

  private:
    int fd_;
    std::size_t limit_;
    std::string held_;
    std::size_t begin_ = 0;    // of the next line in held_
    std::size_t scanned_ = 0;  // no line end between begin_ and here
    bool skipping_ = false;    // the rest of a line that was too long
    int overflows_ = 0;
    bool ended_ = false;
};

}  // namespace ravd::bus_tool

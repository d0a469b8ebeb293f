// Owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace ravd {

// An open descriptor, closed with its owner; -1 is none. Closing leaves errno as it was.
class unique_fd {
  public:
    explicit unique_fd(int fd = -1) noexcept : fd_(fd) {}
    unique_fd(unique_fd&& other) noexcept : fd_(other.release()) {}
    unique_fd& operator=(unique_fd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~unique_fd() { reset(); }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    // Hands the descriptor to the caller, who closes it.
    int release() noexcept { return std::exchange(fd_, -1); }
    // Closes what is owned and owns `fd` from here.
    void reset(int fd = -1) noexcept {
        const int old = std::exchange(fd_, fd);
        if (old < 0 || old == fd) return;
        const int saved = errno;
        ::close(old);
        errno = saved;
    }

  private:
    int fd_;
};

}  // namespace ravd

// Open file descriptors, to see a leak.
#pragma once

#include <fcntl.h>

namespace ravd::testing {

inline int open_descriptors() {
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd)
        count += fcntl(fd, F_GETFD) >= 0;
    return count;
}

}  // namespace ravd::testing

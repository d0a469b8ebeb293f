// Blocking exchange over the simulation's Unix sockets, as its clients use it.
#pragma once

#include <cstddef>
#include <string>

#include "platform/unique_fd.h"

namespace ravd::sim {

// Connects to a Unix stream socket. None, with errno set, when that fails (ENAMETOOLONG when the path does not fit a
// socket address).
unique_fd connect_unix(const std::string& path);

// Whole transfers without a time limit; interruptions by signals do not end them. False when the peer closed or failed.
bool send_all(int fd, const char* bytes, std::size_t size);
bool receive_all(int fd, char* bytes, std::size_t size);
// At least `least` bytes, and what else is there up to `most`. Fewer than `least` where receive_all() is false.
std::size_t receive_some(int fd, char* bytes, std::size_t least, std::size_t most);

}  // namespace ravd::sim

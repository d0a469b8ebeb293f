// Blocking exchange over the simulation's Unix sockets, as its clients use it.
#pragma once

#include <cstddef>
#include <string>

namespace ravd::sim {

// Connects to a Unix stream socket. A descriptor that the caller closes, or -1 with errno set (ENAMETOOLONG when the
// path does not fit a socket address).
int connect_unix(const std::string& path);

// Whole transfers without a time limit; interruptions by signals do not end them. False when the peer closed or failed.
bool send_all(int fd, const char* bytes, std::size_t size);
bool receive_all(int fd, char* bytes, std::size_t size);

}  // namespace ravd::sim

// Name resolution that cannot block the caller: a mute name server holds getaddrinfo() for a minute and more.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ravd {

// Numeric texts of the addresses of `host`, IPv4 and IPv6, in the system's order; empty when there are none. Blocks.
std::vector<std::string> look_up_addresses(const std::string& host);

// Whether `host` is an IPv4 or IPv6 address, not a name.
bool is_numeric_address(const std::string& host);

// Resolves one host again and again. Used by one thread. A look-up runs on a detached thread that shares nothing with
// the resolver but its result; one that never ends is waited for again by the next start(), so that at most one exists,
// and it does not hold up the end of the process.
class resolver {
  public:
    using lookup_function = std::function<std::vector<std::string>(const std::string& host)>;

    resolver(std::string host, lookup_function lookup);

    // Begins a look-up unless one is still under way or has ended with addresses meanwhile; its end signals the event
    // descriptor `wake_fd`, which stays the caller's. A numeric address needs none. False when no thread can be had.
    bool start(int wake_fd);
    bool ended() const;
    // Once it has ended: an address, empty when there is none. Where there are several it is the one taken last as long
    // as that one works(), else the next.
    std::string take();
    // The address taken last answered with a handshake.
    void works() { next_ = false; }

  private:
    struct job;

    const std::string host_;
    const lookup_function lookup_;
    const bool numeric_;
    std::shared_ptr<job> job_;
    std::string last_;
    bool next_ = false;
};

}  // namespace ravd

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

// Resolves one host again and again. Used by one thread. A look-up runs on a detached thread that shares nothing with
// the resolver but its result; one that never ends is waited for again by the next start(), so that at most one exists,
// and it does not hold up the end of the process.
class resolver {
  public:
    using lookup_function = std::function<std::vector<std::string>(const std::string& host)>;

    resolver(std::string host, lookup_function lookup);

    // Begins a look-up unless one is still under way. A numeric address needs none. False when no thread can be had.
    bool start();
    // Waits for the look-up's end, at most `timeout_ms`. True once it has ended.
    bool wait(int timeout_ms);
    // After wait() was true: an address, empty when there is none. Where there are several, each result taken is the
    // next one, so that an address that does not answer is not tried for ever.
    std::string take();

  private:
    struct job;

    const std::string host_;
    const lookup_function lookup_;
    const bool numeric_;
    std::shared_ptr<job> job_;
    std::size_t next_ = 0;
};

}  // namespace ravd

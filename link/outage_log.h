// Why there is no link: one line for each attempt that failed and each link that ended, with the delay to the next one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace ravd {

class outage_log {
  public:
    // `name`: of the worker; outlives the object. `service`: "host:port".
    outage_log(const char* name, std::string service) : name_(name), service_(std::move(service)) {}

    // Of several reasons for the end of one attempt or link the first counts. Control characters are replaced.
    void note(std::string_view reason);
    // Tells the reason that was noted, if any. The same as the last time is information, another one a warning.
    void report(std::uint32_t next_attempt_s);
    void link_up(const std::string& address);
    // Of the last attempt that failed or link that ended; empty: none.
    const std::string& last_reason() const { return last_; }

  private:
    const char* name_;
    const std::string service_;
    std::string reason_;
    std::string reported_;
    std::string last_;
};

}  // namespace ravd

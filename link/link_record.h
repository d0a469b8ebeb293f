// What a link remembers of itself for those who ask.
#pragma once

#include <cstdint>
#include <string>

namespace ravd {

class status_page;

// Only on the link's thread. Times are seconds of the worker's clock.
class link_record {
  public:
    void begin_wait(std::int64_t now_s, std::int64_t until_s);
    void begin_attempt(std::int64_t now_s);
    void begin_link(std::int64_t now_s);
    void received(std::size_t bytes);
    void lost_for_full_queue() { ++lost_full_; }
    void dropped(std::size_t unread, std::size_t unsent);

    // Adds the state, its age, the next attempt and the counts but those of what was sent.
    void describe(std::int64_t now_s, status_page& page) const;
    // Inside "counted".
    void describe_counts(status_page& page) const;

  private:
    const char* state_ = "starting";
    std::int64_t since_s_ = 0;
    std::int64_t next_attempt_s_ = 0;
    std::uint32_t attempts_ = 0;
    std::uint32_t links_ = 0;
    std::uint64_t received_messages_ = 0;
    std::uint64_t received_bytes_ = 0;
    std::uint64_t dropped_unread_ = 0;
    std::uint64_t dropped_unsent_ = 0;
    std::uint64_t lost_full_ = 0;
};

}  // namespace ravd

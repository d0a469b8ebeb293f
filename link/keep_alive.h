// When a ping is due, and how many were not answered.
#pragma once

#include <cstdint>
#include <ctime>

namespace ravd {

class keep_alive {
  public:
    // A connection is established or a ping leaves: the next one is due 30 s later, in whole seconds of the clock.
    void restart() { last_ping_ = now(); }
    bool is_due() const { return now().tv_sec - last_ping_.tv_sec >= ping_interval_s; }
    // Milliseconds until then, at most `longest`; `longest` when it is due already.
    int until_due_ms(int longest) const;

    void count_ping() { ++missed_pongs_; }
    void on_pong() { missed_pongs_ = 0; }
    // The pings since the last pong once there are three, and counting starts again; else 0. A new connection does not
    // start it again.
    std::uint32_t take_missed();

  private:
    static constexpr std::int64_t ping_interval_s = 30;

    static timespec now();

    std::uint32_t missed_pongs_ = 0;
    timespec last_ping_{};
};

}  // namespace ravd

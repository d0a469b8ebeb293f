// How long hostapd may keep the rest waiting: a hostapd that hangs or is slow must cost the agent neither its
// configuration nor its own answers, for each of which it waits 2 s.
#pragma once

#include <cstdint>
#include <string>

#include "platform/hostapd_control.h"

namespace ravd::hostd {

// Longest wait for one answer.
constexpr int hostapd_wait_ms = 500;
// For all that one turn asks of its own accord, and for all of one order.
constexpr int turn_wait_ms = 1000;
constexpr int order_wait_ms = 1200;

class patience {
  public:
    explicit patience(int total_ms) : total_ms_(total_ms), left_ms_(total_ms) {}

    // The whole time again. A hostapd that did not answer is left alone for some seconds all the same.
    void renew() { left_ms_ = total_ms_; }
    // Whether to ask is of no use now.
    bool spent() const;
    // Asks within the time that is left, at most `longest_ms`; `no_answer` without asking when it is spent.
    hostapd_result ask(hostapd_control& whom, const std::string& request, std::string& reply,
                       int longest_ms = hostapd_wait_ms);
    // The same for asking for events.
    hostapd_result attach(hostapd_events& to);

  private:
    template <typename Call>
    hostapd_result wait(int longest_ms, Call call);

    int total_ms_;
    std::int64_t left_ms_;
    std::int64_t silent_until_ms_ = 0;  // of the monotonic clock
};

}  // namespace ravd::hostd

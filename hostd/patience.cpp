#include "hostd/patience.h"

#include <algorithm>

#include "platform/monotonic.h"

namespace ravd::hostd {
namespace {

constexpr std::int64_t silence_ms = 5000;

}  // namespace

bool patience::spent() const { return left_ms_ <= 0 || monotonic_ms() < silent_until_ms_; }

template <typename Call>
hostapd_result patience::wait(int longest_ms, Call call) {
    if (spent()) return hostapd_result::no_answer;
    const std::int64_t began_ms = monotonic_ms();
    const hostapd_result result = call(static_cast<int>(std::min<std::int64_t>(left_ms_, longest_ms)));
    const std::int64_t now_ms = monotonic_ms();
    left_ms_ -= now_ms - began_ms;
    if (result == hostapd_result::no_answer) silent_until_ms_ = now_ms + silence_ms;
    return result;
}

hostapd_result patience::ask(hostapd_control& whom, const std::string& request, std::string& reply, int longest_ms) {
    reply.clear();
    return wait(longest_ms, [&](int wait_ms) { return whom.request(request, reply, wait_ms); });
}

hostapd_result patience::attach(hostapd_events& to) {
    return wait(hostapd_wait_ms, [&](int wait_ms) { return to.attach(wait_ms); });
}

}  // namespace ravd::hostd

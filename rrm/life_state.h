// Where the agent stands with hostapd and with the service.
#pragma once

#include <cstdint>

namespace ravd {

// Values are bits, so that a row of the transition table can name several.
enum class hostapd_state : std::uint8_t {
    away = 1,       // not announced; nothing is known of the radios
    running = 2,    // announced: the radios are usable
    restarting = 4  // gone after it ran; may come back
};

enum class link_state : std::uint8_t {
    unlinked = 1,     // no link, or refused by the service
    subscribing = 2,  // the link is up, no answer yet
    subscribed = 4,
    renewing = 8  // subscribed, and asking again
};

struct life_state {
    hostapd_state hostapd = hostapd_state::away;
    link_state link = link_state::unlinked;
    // For who asks: since when, in milliseconds of the monotonic clock, and how often.
    std::int64_t hostapd_since_ms = 0;
    std::int64_t link_since_ms = 0;
    std::int32_t hostapd_starts = 0;
    std::int32_t refusals = 0;
    bool hostapd_stopped = false;  // it ran, went away, and has not been announced again

    // A subscription was confirmed and the link has not dropped since.
    bool subscribed() const { return link == link_state::subscribed || link == link_state::renewing; }
    // The link is up and a subscription is wanted.
    bool subscribing() const { return link == link_state::subscribing || link == link_state::renewing; }
};

}  // namespace ravd

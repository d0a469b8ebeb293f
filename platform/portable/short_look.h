// Waiting for an answer that somebody on another processor gives at once.
#pragma once

#include <poll.h>

namespace ravd {

// poll() that looks for some microseconds before it sleeps: to be woken by another processor takes longer than most
// answers do, and costs more than the looks. Sleeps at once where this process has only one processor, and nearly
// always while looks are in vain. For one thread at a time.
class short_look {
  public:
    // For an answer, which is there in this time even where who gives it has to be woken first: where both ends look so
    // long, a series of requests goes on without sleep. Shorter, each end would look in vain until the other is awake.
    static constexpr int answer_us = 120;
    // For what may come at any time.
    static constexpr int message_us = 25;

    int poll(pollfd* set, nfds_t count, int limit_ms, int longest_look_us = answer_us);

  private:
    bool wanted();

    int rests_ = 0;    // waits without a look that are still to come
    int in_vain_ = 0;  // how many there were after the last look; 0 when that found something
};

}  // namespace ravd

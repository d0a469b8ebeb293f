// Waiting for an answer that somebody on another processor gives at once.
#pragma once

#include <poll.h>

namespace ravd {

// poll() that looks some times before it sleeps, for tens of microseconds altogether: to be woken by another processor
// takes longer than most answers do, and costs more than the looks. Sleeps at once where this process has only one
// processor, and nearly always while looks are in vain. For one thread at a time.
class short_look {
  public:
    int poll(pollfd* set, nfds_t count, int limit_ms);

  private:
    static constexpr int looks_at_most = 60;

    bool wanted();

    int rests_ = 0;    // waits without a look that are still to come
    int in_vain_ = 0;  // how many there were after the last look; 0 when that found something
};

}  // namespace ravd

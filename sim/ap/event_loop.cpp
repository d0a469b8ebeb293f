#include "sim/ap/event_loop.h"

#include <poll.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/monotonic.h"
#include "sim/ap/event_log.h"

namespace ravd::sim {

void event_loop::watch(int fd, action run, bool for_writing) { watchers_[fd] = {std::move(run), for_writing}; }
void event_loop::forget(int fd) { watchers_.erase(fd); }
void event_loop::after(std::int64_t ms, action run) { timers_.emplace(monotonic_ms() + ms, std::move(run)); }

void event_loop::run_due() {
    const std::int64_t now = monotonic_ms();
    while (!timers_.empty() && timers_.begin()->first <= now) {
        const action run = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
        run();
    }
}

int event_loop::wait_ms() const {
    if (timers_.empty()) return -1;
    return static_cast<int>(std::clamp<std::int64_t>(timers_.begin()->first - monotonic_ms(), 0, 60000));
}

void event_loop::run() {
    while (!stopped_) {
        std::vector<pollfd> entries;
        for (const auto& [fd, one] : watchers_)
            entries.push_back({fd, static_cast<short>(one.for_writing ? POLLIN | POLLOUT : POLLIN), 0});
        poll(entries.data(), static_cast<nfds_t>(entries.size()), wait_ms());
        for (const pollfd& entry : entries) {
            if (entry.revents == 0 || stopped_) continue;
            // An earlier action may have forgotten it.
            const auto found = watchers_.find(entry.fd);
            if (found == watchers_.end()) continue;
            const action run = found->second.run;
            run();
        }
        if (!stopped_) run_due();
    }
}

}  // namespace ravd::sim

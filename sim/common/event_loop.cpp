#include "sim/common/event_loop.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/monotonic.h"

namespace ravd::sim {

void event_loop::watch(int fd, short events, descriptor_action run) {
    watchers_[fd] = {next_number_++, events, std::move(run)};
}

void event_loop::change(int fd, short events) {
    const auto found = watchers_.find(fd);
    if (found != watchers_.end()) found->second.events = events;
}

void event_loop::forget(int fd) { watchers_.erase(fd); }

void event_loop::after(std::int64_t ms, action run) { timers_.emplace(monotonic_ms() + ms, std::move(run)); }

// What an action asks for now waits for the next turn, so that the descriptors get theirs.
void event_loop::run_due() {
    const std::int64_t now = monotonic_ms();
    std::vector<action> due;
    while (!timers_.empty() && timers_.begin()->first <= now) {
        due.push_back(std::move(timers_.begin()->second));
        timers_.erase(timers_.begin());
    }
    for (const action& run : due)
        if (!stopped_) run();
}

int event_loop::wait_ms() const {
    if (timers_.empty()) return -1;
    return static_cast<int>(std::clamp<std::int64_t>(timers_.begin()->first - monotonic_ms(), 0, 60000));
}

void event_loop::run_descriptors() {
    std::vector<pollfd> entries;
    std::vector<std::uint64_t> numbers;
    for (const auto& [fd, one] : watchers_) {
        if (one.events == 0) continue;
        entries.push_back({fd, one.events, 0});
        numbers.push_back(one.number);
    }
    if (poll(entries.data(), static_cast<nfds_t>(entries.size()), wait_ms()) <= 0) return;
    for (std::size_t i = 0; i < entries.size() && !stopped_; ++i) {
        if (entries[i].revents == 0) continue;
        // An earlier action may have forgotten it.
        const auto found = watchers_.find(entries[i].fd);
        if (found == watchers_.end() || found->second.number != numbers[i]) continue;
        const descriptor_action run = found->second.run;
        run(entries[i].revents);
    }
}

void event_loop::run() {
    while (!stopped_) {
        run_descriptors();
        if (!stopped_) run_due();
    }
}

}  // namespace ravd::sim

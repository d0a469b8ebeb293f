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

std::uint64_t event_loop::join(poll_filler fill, poll_server serve) {
    members_[next_number_] = {std::move(fill), std::move(serve)};
    return next_number_++;
}

void event_loop::leave(std::uint64_t member) { members_.erase(member); }

void event_loop::run_descriptors() {
    entries_.clear();
    numbers_.clear();
    shares_.clear();
    int limit = wait_ms();
    for (const auto& [fd, one] : watchers_) {
        if (one.events == 0) continue;
        entries_.push_back({fd, one.events, 0});
        numbers_.push_back(one.number);
    }
    for (const auto& [number, one] : members_) {
        const std::size_t before = entries_.size();
        const int wanted = one.fill(entries_);
        if (wanted >= 0 && (limit < 0 || wanted < limit)) limit = wanted;
        shares_.emplace_back(number, entries_.size() - before);
    }
    if (poll(entries_.data(), static_cast<nfds_t>(entries_.size()), limit) < 0) return;
    for (std::size_t i = 0; i < numbers_.size() && !stopped_; ++i) {
        if (entries_[i].revents == 0) continue;
        // An earlier action may have forgotten it.
        const auto found = watchers_.find(entries_[i].fd);
        if (found == watchers_.end() || found->second.number != numbers_[i]) continue;
        const descriptor_action run = found->second.run;
        run(entries_[i].revents);
    }
    std::size_t at = numbers_.size();
    for (const auto& [number, count] : shares_) {
        const auto found = members_.find(number);
        if (found != members_.end() && !stopped_) {
            const poll_server serve = found->second.serve;
            serve(entries_.data() + at, count);
        }
        at += count;
    }
}

void event_loop::run() {
    while (!stopped_) {
        run_descriptors();
        if (!stopped_) run_due();
    }
}

}  // namespace ravd::sim

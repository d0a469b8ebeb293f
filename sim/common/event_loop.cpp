#include "sim/common/event_loop.h"

#include <sys/epoll.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "platform/monotonic.h"

namespace ravd::sim {

event_loop::event_loop() : watched_(epoll_create1(EPOLL_CLOEXEC)) {}

void event_loop::watch(int fd, short events, descriptor_action run) {
    forget(fd);
    watcher& one = watchers_[fd];
    one.number = next_number_++;
    one.run = std::move(run);
    change(fd, events);
}

void event_loop::change(int fd, short events) {
    const auto found = watchers_.find(fd);
    if (found == watchers_.end() || found->second.events == events) return;
    const int operation = events == 0 ? EPOLL_CTL_DEL : found->second.events == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    found->second.events = events;
    if (found->second.polled) return;
    // The bits of poll() and of epoll are the same.
    epoll_event wanted{static_cast<std::uint32_t>(static_cast<unsigned short>(events)), {}};
    wanted.data.fd = fd;
    if (epoll_ctl(watched_.get(), operation, fd, &wanted) == 0) return;
    found->second.polled = true;
    ++polled_;
}

void event_loop::forget(int fd) {
    change(fd, 0);
    const auto found = watchers_.find(fd);
    if (found == watchers_.end()) return;
    polled_ -= found->second.polled;
    watchers_.erase(found);
}

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

// What the first `own` entries and, behind the first of them, epoll announce.
void event_loop::run_watchers(std::size_t own) {
    announced_.clear();
    const auto add = [this](int fd, short events) {
        const auto found = watchers_.find(fd);
        if (found != watchers_.end()) announced_.push_back({fd, found->second.number, events});
    };
    for (std::size_t i = 1; i < own; ++i)
        if (entries_[i].revents) add(entries_[i].fd, entries_[i].revents);
    epoll_event ready[64];
    const int count =
        entries_[0].revents ? epoll_wait(watched_.get(), ready, static_cast<int>(std::size(ready)), 0) : 0;
    for (int i = 0; i < count; ++i)
        add(ready[i].data.fd, static_cast<short>(ready[i].events));
    for (const announced& one : announced_) {
        // An earlier action may have forgotten it.
        const auto found = watchers_.find(one.fd);
        if (stopped_ || found == watchers_.end() || found->second.number != one.number) continue;
        const descriptor_action run = found->second.run;
        run(one.events);
    }
}

void event_loop::run_descriptors() {
    entries_.clear();
    shares_.clear();
    int limit = wait_ms();
    entries_.push_back({watched_.get(), POLLIN, 0});
    if (polled_ > 0)
        for (const auto& [fd, one] : watchers_)
            if (one.polled && one.events) entries_.push_back({fd, one.events, 0});
    const std::size_t own = entries_.size();
    for (const auto& [number, one] : members_) {
        const std::size_t before = entries_.size();
        const int wanted = one.fill(entries_);
        if (wanted >= 0 && (limit < 0 || wanted < limit)) limit = wanted;
        shares_.emplace_back(number, entries_.size() - before);
    }
    const auto size = static_cast<nfds_t>(entries_.size());
    const int ready = looks_ ? look_.poll(entries_.data(), size, limit) : poll(entries_.data(), size, limit);
    if (ready < 0) return;
    run_watchers(own);
    std::size_t at = own;
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

#include "platform/portable/bus_connections.h"

#include <poll.h>

#include <algorithm>
#include <utility>

namespace ravd {

bus_connection* bus_connections::find(std::uint64_t id) const {
    for (const auto& one : all_)
        if (one->id() == id && !one->ended()) return one.get();
    return nullptr;
}

bus_connection* bus_connections::dialled_to(int module) const {
    for (const auto& one : all_)
        if (one->dialled() && one->peer() == module && !one->left() && !one->ended() && !one->write_failed())
            return one.get();
    return nullptr;
}

std::uint64_t bus_connections::left_unread(int module) const {
    std::uint64_t id = 0;
    for (const auto& one : all_)
        if (one->dialled() && one->left() && one->peer() == module && !one->ended() && !one->drained()) id = one->id();
    return id;
}

std::size_t bus_connections::unsent() const {
    std::size_t bytes = 0;
    for (const auto& one : all_)
        if (!one->watching()) bytes += one->backlog();
    return bytes;
}

std::uint64_t bus_connections::transferred() const {
    std::uint64_t bytes = transferred_;
    for (const auto& one : all_)
        bytes += one->transferred();
    return bytes;
}

bus_connection& bus_connections::add(unique_fd socket, int peer, bool dialled) {
    all_.push_back(std::make_unique<bus_connection>(++last_id_, std::move(socket), peer, dialled));
    return *all_.back();
}

bus_connections::census bus_connections::count() const {
    const auto open = std::count_if(all_.begin(), all_.end(), [](const auto& one) { return !one->ended(); });
    if (static_cast<std::size_t>(open) < limit) return {true, false, nullptr};
    census seen{false, false, nullptr};
    for (const auto& one : all_) {
        if (one->ended()) continue;
        pollfd entry{one->fd(), POLLIN, 0};
        (void)::poll(&entry, 1, 0);
        if (one->nameless() && !entry.revents && !seen.silent) seen.silent = one.get();
        seen.moves = seen.moves || (entry.revents & POLLHUP) || (one->nameless() && entry.revents);
    }
    return seen;
}

bool bus_connections::make_room() {
    const census seen = count();
    if (!seen.room && seen.silent) seen.silent->end();
    return seen.room || seen.silent;
}

bool bus_connections::may_grow() const {
    if (all_.size() >= 2 * limit) return false;
    const census seen = count();
    return seen.room || !seen.moves;
}

void bus_connections::clear() {
    transferred_ = 0;
    all_.clear();
}

void bus_connections::keep_settled() {
    for (auto one = all_.begin(); one != all_.end();) {
        const bool stays = (*one)->dialled() && !(*one)->left() && (*one)->settled();
        if (stays) (*one)->pause();
        one = stays ? one + 1 : all_.erase(one);
    }
}

}  // namespace ravd

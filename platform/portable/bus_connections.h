// The open connections of one endpoint, by age.
#pragma once

#include <memory>
#include <vector>

#include "platform/portable/bus_connection.h"

namespace ravd {

// Used under the endpoint's lock. Ended ones count as gone, and stay in their places until they are removed.
class bus_connections {
  public:
    static constexpr std::size_t limit = 64;

    std::size_t size() const { return all_.size(); }
    bus_connection& operator[](std::size_t index) const { return *all_[index]; }
    auto begin() const { return all_.begin(); }
    auto end() const { return all_.end(); }

    bus_connection* find(std::uint64_t id) const;
    // The one that we opened to a module, did not leave and can write to, or null.
    bus_connection* dialled_to(int module) const;
    // The newest of those to a module that we left and that it has not read to the end; 0 for none.
    std::uint64_t left_unread(int module) const;
    // Bytes accepted and not yet written, those of watchers left out; bytes read and written, removed ones included.
    std::size_t unsent() const;
    std::uint64_t transferred() const;

    bus_connection& add(unique_fd socket, int peer, bool dialled);
    // Room for one more. Where there is none, the oldest that never said anything is ended; false when all did.
    bool make_room();
    // False when one more had better wait: there is no room, but some are about to go or to say who they are.
    bool may_grow() const;
    // Calls back with each ended one before it goes. Whether there were any.
    template <typename Callback>
    bool remove_ended(Callback&& before) {
        const std::size_t size_before = all_.size();
        for (auto one = all_.begin(); one != all_.end();) {
            if (!(*one)->ended()) {
                ++one;
                continue;
            }
            transferred_ += (*one)->transferred();
            before(**one);
            one = all_.erase(one);
        }
        return all_.size() != size_before;
    }
    void clear();
    // Only those that we opened and that are settled stay, paused.
    void keep_settled();

  private:
    struct census {
        bool room;               // for one more; the rest is not looked for then
        bool moves;              // some are about to go, or to say who they are
        bus_connection* silent;  // the oldest that never said anything
    };
    census count() const;

    std::uint64_t last_id_ = 0;
    std::uint64_t transferred_ = 0;  // of removed ones
    std::vector<std::unique_ptr<bus_connection>> all_;
};

}  // namespace ravd

// Descriptors and timers of a program's one thread.
#pragma once

#include <poll.h>

#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "platform/portable/short_look.h"
#include "platform/unique_fd.h"

namespace ravd::sim {

class event_loop {
  public:
    using action = std::function<void()>;
    // `events`: what poll() said of the descriptor.
    using descriptor_action = std::function<void(short events)>;

    event_loop();

    // Calls back while one of `events` (as for poll()) holds; the descriptor stays the caller's. It must be forgotten
    // before it is closed.
    void watch(int fd, short events, descriptor_action run);
    // Other events from now on, none included; its action stays.
    void change(int fd, short events);
    void forget(int fd);
    // The same for who has descriptors that come and go: before each poll() `fill` appends its entries and says in how
    // many milliseconds it wants its turn at the latest (-1: when an entry has something), after it `serve` is given
    // them back. Until leave().
    using poll_filler = std::function<int(std::vector<pollfd>& set)>;
    using poll_server = std::function<void(const pollfd* entries, std::size_t count)>;
    std::uint64_t join(poll_filler fill, poll_server serve);
    void leave(std::uint64_t member);
    // Once, after a time; what became due at the same moment runs in the order in which it was asked for.
    void after(std::int64_t ms, action run);
    // Behind everything that is due now.
    void soon(action run) { after(0, std::move(run)); }

    // From now on each turn waits by a short_look: for who stands for something that answers without a change of
    // process.
    void look_before_sleep() { looks_ = true; }
    // Until stop().
    void run();
    void stop() { stopped_ = true; }

  private:
    struct watcher {
        std::uint64_t number = 0;  // tells it from one that had the same descriptor before
        short events = 0;
        descriptor_action run;
        bool polled = false;  // a file, which epoll does not take
    };
    struct announced {
        int fd;
        std::uint64_t number;
        short events;
    };
    struct member {
        poll_filler fill;
        poll_server serve;
    };
    void run_descriptors();
    void run_watchers(std::size_t own);
    void run_due();
    int wait_ms() const;

    // Watched by the system: to tell it of all of them on each turn would cost more than the turn does.
    unique_fd watched_;
    std::map<int, watcher> watchers_;
    std::size_t polled_ = 0;
    std::map<std::uint64_t, member> members_;
    std::uint64_t next_number_ = 0;
    // Of the present turn; kept for their memory.
    std::vector<pollfd> entries_;
    std::vector<announced> announced_;
    std::vector<std::pair<std::uint64_t, std::size_t>> shares_;  // of each member, with the number of its entries
    std::multimap<std::int64_t, action> timers_;                 // by due time
    short_look look_;
    bool looks_ = false;
    bool stopped_ = false;
};

}  // namespace ravd::sim

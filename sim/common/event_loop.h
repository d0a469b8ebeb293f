// Descriptors and timers of a program's one thread.
#pragma once

#include <poll.h>

#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace ravd::sim {

class event_loop {
  public:
    using action = std::function<void()>;
    // `events`: what poll() said of the descriptor.
    using descriptor_action = std::function<void(short events)>;

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

    // Until stop().
    void run();
    void stop() { stopped_ = true; }

  private:
    struct watcher {
        std::uint64_t number;  // tells it from one that had the same descriptor before
        short events;
        descriptor_action run;
    };
    struct member {
        poll_filler fill;
        poll_server serve;
    };
    void run_descriptors();
    void run_due();
    int wait_ms() const;

    std::map<int, watcher> watchers_;
    std::map<std::uint64_t, member> members_;
    std::uint64_t next_number_ = 0;
    // Of the present turn; kept for their memory.
    std::vector<pollfd> entries_;
    std::vector<std::uint64_t> numbers_;
    std::vector<std::pair<std::uint64_t, std::size_t>> shares_;  // of each member, with the number of its entries
    std::multimap<std::int64_t, action> timers_;                 // by due time
    bool stopped_ = false;
};

}  // namespace ravd::sim

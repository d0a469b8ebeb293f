// Descriptors and timers of a program's one thread.
#pragma once

#include <poll.h>

#include <cstdint>
#include <functional>
#include <map>

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
    void run_descriptors();
    void run_due();
    int wait_ms() const;

    std::map<int, watcher> watchers_;
    std::uint64_t next_number_ = 0;
    std::multimap<std::int64_t, action> timers_;  // by due time
    bool stopped_ = false;
};

}  // namespace ravd::sim

// Descriptors and timers of the simulator's one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

namespace ravd::sim {

class event_loop {
  public:
    using action = std::function<void()>;

    // Calls back while `fd` is readable, or writable too when asked for; the descriptor stays the caller's.
    void watch(int fd, action run, bool for_writing = false);
    void forget(int fd);
    // Once, after a time.
    void after(std::int64_t ms, action run);

    // Until stop().
    void run();
    void stop() { stopped_ = true; }

  private:
    struct watcher {
        action run;
        bool for_writing;
    };
    void run_due();
    int wait_ms() const;

    std::map<int, watcher> watchers_;
    std::multimap<std::int64_t, action> timers_;  // by due time
    bool stopped_ = false;
};

}  // namespace ravd::sim

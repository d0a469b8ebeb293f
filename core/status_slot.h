// What a worker tells of itself to who asks.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

namespace ravd {

// Asked from one thread, told by the worker's own, which alone may look at what it owns. Costs a load while nobody
// asks.
class status_slot {
  public:
    // From the asking thread. Once told, 1 is added to the event descriptor `told_fd` (-1: none).
    void ask(int told_fd);
    // What was told last, as members of a JSON object; empty: nothing yet. From any thread.
    std::string told() const;

    // From ask() until it is told.
    bool asked() const { return asked_.load(std::memory_order_relaxed); }
    // On the worker's thread.
    void tell(std::string members);

  private:
    std::atomic<bool> asked_{false};
    mutable std::mutex mutex_;
    std::string members_;
    int told_fd_ = -1;
};

}  // namespace ravd

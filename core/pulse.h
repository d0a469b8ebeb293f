// How workers watch over each other.
#pragma once

#include <atomic>
#include <cstdint>

namespace ravd {

// The last clock reading of one running worker, in view of all others: a worker that sits in a system call for good
// takes no reading of its own that could tell. Times are whole seconds of the monotonic clock. Lock-free, at most 8
// workers at once; one more runs unwatched.
class pulse {
  public:
    pulse() = default;
    pulse(const pulse&) = delete;
    pulse& operator=(const pulse&) = delete;
    ~pulse() { stop(); }

    // From start() to stop() the others see it. All three on the worker's own thread.
    void start(std::int64_t now_s);
    void beat(std::int64_t now_s);
    void stop();

    // Seconds since the oldest of all last beats. 0 without any, or when all are newer than `now_s`. From any thread.
    static std::int64_t longest_silence(std::int64_t now_s);

  private:
    std::atomic<std::uint32_t>* slot_ = nullptr;  // null while not in view
};

}  // namespace ravd

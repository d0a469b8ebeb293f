// What a transfer through safe_queue costs beside the least that could do it: a mutex, a deque and shared pointers.

#include <benchmark/benchmark.h>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>

#include "core/safe_queue.h"

namespace ravd {
namespace {

using message = std::shared_ptr<buffer_info_t>;

class bare_queue {
  public:
    void push(const message& item) {
        const std::lock_guard<std::mutex> lock(mutex_);
        items_.push_back(item);
    }
    bool pop(message& item) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (items_.empty()) return false;
        item = std::move(items_.front());
        items_.pop_front();
        return true;
    }

  private:
    std::deque<message> items_;
    std::mutex mutex_;
};

constexpr int burst = 64;  // messages that wait at once

void transfer(safe_queue& queue, const message& item) {
    for (int i = 0; i < burst; ++i)
        benchmark::DoNotOptimize(queue.push(item));
    while (queue.pop([](message got) { benchmark::DoNotOptimize(got); })) {
    }
}

void transfer(bare_queue& queue, const message& item) {
    for (int i = 0; i < burst; ++i)
        queue.push(item);
    for (message got; queue.pop(got);)
        benchmark::DoNotOptimize(got);
}

template <typename Queue>
double timed_ns(Queue& queue, const message& item) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i)
        transfer(queue, item);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / (100 * burst);
}

// Both in turns, so that what else the machine does hits both alike.
void queue_transfer(benchmark::State& state) {
    const message item = make_buffer();
    item->append("{}", 2);
    safe_queue ours;
    bare_queue bare;
    double ours_ns = 0;
    double bare_ns = 0;
    for (auto unused : state) {
        ours_ns += timed_ns(ours, item);
        bare_ns += timed_ns(bare, item);
    }
    state.counters["ns_each"] = benchmark::Counter(ours_ns, benchmark::Counter::kAvgIterations);
    state.counters["bare_ns_each"] = benchmark::Counter(bare_ns, benchmark::Counter::kAvgIterations);
    state.counters["ratio"] = ours_ns / bare_ns;
}
BENCHMARK(queue_transfer);

}  // namespace
}  // namespace ravd

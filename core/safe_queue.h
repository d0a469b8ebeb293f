// Queue between two workers.
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "core/buffer.h"
#include "core/function_ref.h"

namespace ravd {

// Messages that one queue holds at most, in bytes, each counted with its overhead.
constexpr std::size_t queue_limit = 16u * 1024 * 1024;

// What one item counts against queue_limit: its bytes, its buffer with the shared pointer's block, its heap headers.
inline std::size_t queue_cost(const std::shared_ptr<buffer_info_t>& item) {
    constexpr std::size_t overhead = sizeof(item) + sizeof(buffer_info_t) + 48;
    return overhead + (item ? item->size : 0);
}

// FIFO with one producer and one consumer thread. Outlives the workers that use it.
template <typename T>
class SafeQueue {
  public:
    SafeQueue() = default;
    SafeQueue(const SafeQueue&) = delete;
    SafeQueue& operator=(const SafeQueue&) = delete;
    virtual ~SafeQueue() = default;

    // Appends and announces. False when the queue is full: the item is lost.
    bool push(const T& item) {
        if (!push_quietly(item)) return false;
        announce();
        return true;
    }
    // The same for one of several: announce() is to follow soon.
    bool push_quietly(const T& item) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::size_t cost = queue_cost(item);
        if (cost > queue_limit - held_) return false;
        items_.push_back(item);
        held_ += cost;
        return true;
    }
    // Runs the notify callback, which may take items but must not push into this queue.
    void announce() {
        const std::lock_guard<std::mutex> lock(notify_mutex_);
        if (notify_) notify_();
    }

    // Hands the oldest item to `handler`, outside the lock. False when there is none. One item a call.
    template <typename Handler>
    bool pop(Handler&& handler) {
        return pop_if([](const T&) { return true; }, std::forward<Handler>(handler));
    }
    // The same when `wanted`, which is asked under the lock, is true of that item; else false, and it stays.
    template <typename Predicate, typename Handler>
    bool pop_if(Predicate wanted, Handler&& handler) {
        T item;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (items_.empty() || !wanted(items_.front())) return false;
            item = std::move(items_.front());
            items_.pop_front();
            held_ -= queue_cost(item);
        }
        std::forward<Handler>(handler)(std::move(item));
        return true;
    }

    // Takes out the items for which `unwanted` is true, under the lock; the others keep their order. How many went.
    std::size_t remove_if(function_ref<bool(const T&)> unwanted) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::size_t before = items_.size();
        items_.remove_if([this, &unwanted](const T& item) {
            if (!unwanted(item)) return false;
            held_ -= queue_cost(item);
            return true;
        });
        return before - items_.size();
    }

    // Items that wait. The other side may change it at once.
    std::size_t size() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return items_.size();
    }

    // What those count against queue_limit.
    std::size_t held() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return held_;
    }

    // Replaces the callback that push runs; the one before is not running any more. An empty one is a no-op.
    void set_notify(std::function<void()> callback) {
        const std::lock_guard<std::mutex> lock(notify_mutex_);
        notify_.swap(callback);
    }

  private:
    std::function<void()> notify_;
    std::mutex notify_mutex_;  // of the callback alone: whom it wakes may look into the queue at once
    std::list<T> items_;
    std::size_t held_ = 0;
    mutable std::mutex mutex_;
};

class safe_queue : public SafeQueue<std::shared_ptr<buffer_info_t>> {
  public:
    ~safe_queue() override = default;
};

}  // namespace ravd

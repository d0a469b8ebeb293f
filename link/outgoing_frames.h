// Messages on their way to the service: from the producer's queue to the socket, one text frame each.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "core/buffer.h"

struct lws;

namespace ravd {

class abstract_worker;
class safe_queue;

class outgoing_frames {
  public:
    // True: the message was for the link itself and is consumed.
    using internal_handler = std::function<bool(const buffer_info_t& message)>;

    // From here to the destructor a push into `input` wakes `worker`; one wake-up serves all that is pushed until the
    // queue is looked at next. All three outlive the object; `name` is the worker's.
    outgoing_frames(safe_queue& input, abstract_worker& worker, const char* name, internal_handler handler);
    outgoing_frames(const outgoing_frames&) = delete;
    outgoing_frames& operator=(const outgoing_frames&) = delete;
    ~outgoing_frames();

    // Writes what is queued, some 64 messages at most. Nothing is written while earlier output of the connection is
    // pending: what waits stays in the queue, messages for the link too, so that nothing changes its order. True when
    // messages are left.
    bool drain(lws* wsi);
    // Without a link: takes one message, which is lost unless it is for the link itself. False when there is none.
    bool take_one();
    // The same with all that is queued now. How many were lost.
    std::size_t drop_all();

    // Writes one frame; `type` is one of lws_write_protocol. What lws_write answers, or -1 when memory ran out. Never
    // while earlier output is pending.
    int lws_send(lws* wsi, const char* data, std::size_t len, int type);

    // Messages that left, and their bytes.
    std::uint64_t sent_messages() const { return sent_messages_; }
    std::uint64_t sent_bytes() const { return sent_bytes_; }

  private:
    class frame;

    int write(lws* wsi, const frame& what, int type);
    bool take(std::size_t& lost);

    safe_queue& input_;
    const char* name_;
    const internal_handler handle_internal_;
    std::atomic<bool> wake_pending_{false};
    std::uint64_t sent_messages_ = 0;
    std::uint64_t sent_bytes_ = 0;
    // Where a short message gets the room before it that the library wants; long ones allocate.
    alignas(16) unsigned char room_[4096];
};

}  // namespace ravd

// The message being received, put together from the pieces in which it arrives.
#pragma once

#include <cstddef>
#include <memory>

#include "core/buffer.h"

namespace ravd {

// A message from the service that is longer is skipped.
constexpr std::size_t received_message_limit = 8u * 1024 * 1024;

class incoming_message {
  public:
    // `name`: of the worker, for the log; outlives the object.
    explicit incoming_message(const char* name) : name_(name) {}

    // One piece of `len` bytes at `in`, which may be null; of its frame `remaining` bytes are still to come, and
    // `final` tells whether that is the message's last frame. The whole message once it is complete; null before, and
    // for one that cannot be kept.
    std::shared_ptr<buffer_info_t> add(const char* in, std::size_t len, std::size_t remaining, bool final);
    // The connection is gone: what was received in part is dropped.
    void clear();

  private:
    bool keep(const char* in, std::size_t len, bool last);

    const char* name_;
    std::shared_ptr<buffer_info_t> rx_buffer_ = make_buffer();
    bool skipping_ = false;  // the rest of a message that cannot be kept passes by
};

}  // namespace ravd

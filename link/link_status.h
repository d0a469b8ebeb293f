// What the link's consumer gets: received messages and the state of the link, in the order in which things happened.
#pragma once

#include <cstddef>
#include <memory>

#include "core/buffer.h"

namespace ravd {

class safe_queue;

class link_status {
  public:
    // `output` outlives the object, which is its only producer. With `collapse`, a "disconnected" is not queued
    // directly behind one that is still unread: nobody may read for days.
    link_status(safe_queue& output, bool collapse) : output_(output), collapse_(collapse) {}

    // Tells the state. What a full queue refuses is repeated by flush(), in order.
    void send(bool connected);
    // The same as the answer to a question: never left out.
    void answer(bool connected);
    // False while a state is untold because the queue is full.
    bool flush();
    // A received message, which never overtakes a state. False: the queue is full and the message lost. Who reads the
    // queue learns of it at announce(), once for all that came together.
    bool push(const std::shared_ptr<buffer_info_t>& message);
    void announce();
    // Takes back what is unread: messages and "connected". How many messages.
    std::size_t drop_unread();

  private:
    bool tell(const char* cmd);

    safe_queue& output_;
    const bool collapse_;
    // States that the queue refused: at most "disconnected", then "connected".
    bool disconnected_unsent_ = false;
    bool connected_unsent_ = false;
    bool unannounced_ = false;
    bool asked_ = false;              // the "disconnected" is an answer
    bool ends_disconnected_ = false;  // the last item pushed is a "disconnected"
};

}  // namespace ravd

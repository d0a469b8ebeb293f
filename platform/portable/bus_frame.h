// Frames of the bus: a header of mbus_header_size bytes, then the payload.
//
//   0  4  module number of the sender
//   4  4  payload length
//   8  1  kind
//   9  4  module number of the receiver
//  13  4  "RVB1"
//
// Numbers are little-endian and unaligned. A message arrives at its reader in this very form.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/portable/bus_endpoint.h"

namespace ravd {

enum class bus_frame_kind : unsigned char {
    message = 0,
    hello = 1,  // first frame of the connecting side, without a payload: names its module
    watch = 2,  // first frame of a side that only listens, without a payload; from the module, what it missed
};

struct bus_frame_header {
    int source = 0;
    int destination = 0;
    std::uint32_t length = 0;  // of the payload
    bus_frame_kind kind = bus_frame_kind::message;
};

// Writes mbus_header_size bytes. The module numbers are not negative.
void encode_bus_header(const bus_frame_header& header, unsigned char* out);
// Reads mbus_header_size bytes. False when they are no header of ours, or one beyond the bounds.
bool decode_bus_header(const unsigned char* in, bus_frame_header& header);

// Puts the frames of one connection together. Memory grows with the bytes that arrived, whatever a header announces.
class bus_frame_reader {
  public:
    enum class state {
        more,   // the frame is unfinished
        whole,  // a frame is complete: header() and take()
        bad,    // no frame of ours, or out of memory: nothing more can be read from this connection
    };

    // Takes bytes up to the end of the current frame; `used` tells how many. After `whole`, take() comes first.
    state feed(const unsigned char* bytes, std::size_t count, std::size_t& used);
    const bus_frame_header& header() const { return header_; }
    // The whole frame, one zero byte behind it. Begins the next frame.
    bus_block take();
    // Bytes of the unfinished frame, and the memory it takes; 0 while its header is incomplete.
    std::size_t held() const { return held_; }
    std::size_t memory() const { return capacity_; }

  private:
    bool make_room(std::size_t wanted);

    bus_frame_header header_;
    unsigned char head_[mbus_header_size] = {};
    bus_block block_;           // null until the header is complete
    std::size_t capacity_ = 0;  // of block_
    std::size_t held_ = 0;
};

}  // namespace ravd

// Follows the websocket frames of one direction of a connection, so that bytes can be taken out (pings) or put in
// (whatever a test wants to violate) between two frames and nowhere else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace ravd::sim {

class frame_filter {
  public:
    struct frame {
        std::uint8_t opcode;
        bool final;
        std::uint64_t length;
    };
    // Called once per frame, when its header is complete. False takes the frame out of the stream.
    using judge = std::function<bool(const frame&)>;

    // Passes `size` bytes on to `out`; a header is held back until it is complete. The HTTP handshake before the
    // first frame passes unchanged.
    void feed(const char* data, std::size_t size, std::string& out, const judge& keep);

    // The handshake is over and the last frame is complete.
    bool at_boundary() const { return state_ == state::header && have_ == 0; }

  private:
    enum class state { handshake, header, payload };

    static std::size_t header_size(const unsigned char* header);
    void header_complete(std::string& out, const judge& keep);

    state state_ = state::handshake;
    unsigned line_ends_ = 0;  // how much of "\r\n\r\n" was seen
    unsigned char header_[14] = {};
    std::size_t have_ = 0;
    std::uint64_t remaining_ = 0;
    bool passing_ = true;
};

}  // namespace ravd::sim

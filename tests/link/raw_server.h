// A websocket server made by hand, so that it can do everything wrong. Runs in the test's thread: step() does what can
// be done without waiting.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ravd::testing {

enum class manner {
    healthy,
    unreachable,  // never accepts, see fill_backlog()
    mute,         // never answers the handshake
    scripted,     // answers the handshake with `reply`
    hang_up,      // closes instead of answering
    reset,        // resets instead of answering
};

class raw_server {
  public:
    raw_server();
    ~raw_server();
    raw_server(const raw_server&) = delete;
    raw_server& operator=(const raw_server&) = delete;

    struct frame {
        int opcode;
        bool final;
        bool masked;
        std::string payload;
    };

    std::uint32_t port = 0;
    manner how = manner::healthy;
    std::string reply;     // "{key}" is replaced
    std::string greeting;  // a text in the same packet as the handshake
    bool reading = true;   // false: leaves everything in the socket
    bool answer_pings = true;

    int accepted = 0;
    int pings = 0;
    std::string request;          // of the last handshake
    std::vector<frame> received;  // data and close frames

    void step();
    bool open() const { return open_; }
    std::vector<std::string> texts() const;

    // Kept until the socket takes it.
    void send_bytes(const std::string& bytes) { out_ += bytes; }
    void send_frame(int opcode, const std::string& payload, bool final = true);
    void send_text(const std::string& payload) { send_frame(1, payload); }
    void hang_up(bool with_reset = false);
    // Fills the listener's backlog, so that the next SYN is never answered; drops those connections again.
    void fill_backlog();
    void drain_backlog();

  private:
    void answer_handshake();
    void take_frames();

    int listener_ = -1;
    int peer_ = -1;
    bool open_ = false;
    std::string in_;
    std::string out_;
    std::size_t sent_ = 0;  // of out_
    std::vector<int> fillers_;
};

}  // namespace ravd::testing

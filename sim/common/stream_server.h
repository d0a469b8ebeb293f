// A listening Unix socket and its connections; what the bytes mean is its user's.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "platform/unique_fd.h"
#include "sim/common/event_loop.h"

namespace ravd::sim {

class stream_server {
  public:
    // Called when bytes came, and once with `ended` when nothing more will come: takes what is whole from the front of
    // `input`. False ends the connection.
    using reader = std::function<bool(std::uint64_t connection, std::string& input, bool ended)>;

    // `input_limit`: a connection that has sent more without a whole message is ended.
    stream_server(event_loop& loop, std::size_t input_limit, reader read);
    ~stream_server();
    stream_server(const stream_server&) = delete;
    stream_server& operator=(const stream_server&) = delete;

    // Makes the socket, for its owner alone, in place of one that nobody serves any more. False with the reason.
    bool open(const std::string& path, std::string& reason);

    // Queues bytes for a connection that may be gone by now. `last`: it is closed when they are sent.
    void send(std::uint64_t connection, const std::string& bytes, bool last);
    // Reads nothing more from a connection, or reads again.
    void hold(std::uint64_t connection, bool on);

  private:
    struct link {
        unique_fd fd;
        std::string input;
        std::string output;
        bool held = false;
        bool ended = false;  // the peer sends no more
        bool last = false;   // to be closed when all is sent
    };
    void accept_one();
    void serve(std::uint64_t connection, short events);
    // False when the connection is gone.
    bool read_once(std::uint64_t connection, link& one);
    void flush(std::uint64_t connection, link& one);
    void follow(link& one);
    void end(std::uint64_t connection);

    event_loop& loop_;
    std::size_t input_limit_;
    reader read_;
    std::string path_;
    unique_fd listener_;
    std::uint64_t next_ = 1;
    std::map<std::uint64_t, link> links_;
};

}  // namespace ravd::sim

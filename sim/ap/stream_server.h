// A listening Unix socket and its connections; what the bytes mean is its user's.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "sim/ap/event_loop.h"

namespace ravd::sim {

class stream_server {
  public:
    // Called when bytes came: takes what is whole from the front of `input`. False ends the connection.
    using reader = std::function<bool(std::uint64_t connection, std::string& input)>;

    // `input_limit`: a connection that has sent more without a whole message is ended.
    stream_server(event_loop& loop, std::string path, std::size_t input_limit, reader read);
    ~stream_server();
    stream_server(const stream_server&) = delete;
    stream_server& operator=(const stream_server&) = delete;

    // Makes the socket, in place of one that an earlier run left. False with the reason.
    bool open(std::string& reason);

    // Queues bytes for a connection that may be gone by now. `last`: it is closed when they are sent.
    void send(std::uint64_t connection, const std::string& bytes, bool last);
    void end(std::uint64_t connection);

  private:
    struct link {
        int fd;
        std::string input;
        std::string output;
        bool last = false;
    };
    void accept_one();
    void serve(std::uint64_t connection);
    void flush(std::uint64_t connection);

    event_loop& loop_;
    std::string path_;
    std::size_t input_limit_;
    reader read_;
    int listener_ = -1;
    std::uint64_t next_ = 1;
    std::map<std::uint64_t, link> links_;
};

}  // namespace ravd::sim

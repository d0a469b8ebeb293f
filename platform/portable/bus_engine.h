// The inside of a bus endpoint: connections, received messages, and the thread that moves the bytes.
#pragma once

#include <poll.h>
#include <pthread.h>

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/portable/bus_connection.h"
#include "platform/portable/bus_endpoint.h"
#include "platform/portable/bus_registration.h"

namespace ravd {

// The operations are those of bus_endpoint. One lock guards everything but the two event descriptors; the thread lets
// go of it only while it sleeps in poll(). Callers add connections, the thread alone removes them.
class bus_endpoint::engine {
  public:
    // Received and not taken bytes, unfinished frames included. Beyond it nothing is read, except that one unfinished
    // frame may always be completed.
    static constexpr std::size_t received_limit = 32u * 1024 * 1024;
    static constexpr std::size_t connection_limit = 64;
    static constexpr unsigned look_interval = 64;
    static constexpr int flush_limit_ms = 200;

    engine(std::unique_ptr<bus_registration> registration, unique_fd wake, unique_fd notify);
    ~engine() { stop(); }
    engine(const engine&) = delete;
    engine& operator=(const engine&) = delete;

    int module() const { return registration_->module(); }
    int descriptor() const { return notify_.get(); }
    bool start();
    void stop();
    bool running();
    bool receive(bus_message& message);
    bus_result send(int destination, std::string_view text, std::uint64_t* connection);
    bus_result send_over(std::uint64_t connection, std::string_view text);
    bool is_open(std::uint64_t connection) const;
    int peer_of(std::uint64_t connection) const;
    bool has_sent_over(std::uint64_t connection) const;
    std::size_t unsent() const;
    std::uint64_t transferred() const;

  private:
    // What a waiting message costs beside its payload.
    static constexpr std::size_t message_overhead = sizeof(bus_message) + mbus_header_size + 16;

    // What is remembered of another module. The ids stay when their connections are gone: what is sent to a module
    // whose last message came over a closed connection must not slip into a newer one of its connections.
    struct route {
        std::uint64_t taken = 0;  // brought the message taken last; 0: none was
        std::uint64_t used = 0;   // carried the message sent last
    };

    static void* thread_entry(void* self);
    void run();
    int fill_poll_set();
    void accept_connections();
    void serve(bus_connection& connection, short events);
    void read_from(bus_connection& connection);
    bool handle_frame(bus_connection& connection);
    void remove_closed();
    bool may_read(bus_connection& connection);
    bool follows_unread(const bus_connection& connection);
    void release_held();

    bus_connection* find(std::uint64_t id) const;
    bus_connection* choose(int destination, const route& known) const;
    bus_connection* dial(int destination, bus_result& result);
    bus_result write(bus_connection& connection, std::string_view text);
    route& route_to(int module);
    void wake();
    void notify();
    void clear_notice();

    mutable std::mutex mutex_;
    std::unique_ptr<bus_registration> registration_;
    unique_fd wake_;    // ends the thread's poll()
    unique_fd notify_;  // the user's descriptor
    bool notified_ = false;

    pthread_t thread_{};
    bool thread_started_ = false;
    bool running_ = false;
    bool moved_ = false;     // the user sent or took a message since running() was asked last
    unsigned unlooked_ = 0;  // times that running() did not look at the directory
    bool stopping_ = false;  // only what is accepted is still written
    bool abandon_ = false;   // and now not even that
    unique_fd listener_;
    bool listener_rests_ = false;  // no descriptors left: accepting is tried again a little later
    bool reading_rests_ = false;   // some connection is not read because too much waits to be taken
    int hold_wait_ms_ = 0;

    std::uint64_t last_id_ = 0;
    std::vector<std::unique_ptr<bus_connection>> connections_;
    std::vector<std::uint64_t> closed_;  // to be removed after the turn
    std::map<int, route> routes_;
    std::deque<bus_message> inbox_;
    std::size_t inbox_bytes_ = 0;
    std::size_t unfinished_bytes_ = 0;
    std::uint64_t transferred_ = 0;  // of closed connections

    // The thread's own.
    std::vector<pollfd> poll_set_;
    std::unique_ptr<unsigned char[]> buffer_;
};

}  // namespace ravd

// The connections of one endpoint, what came over them, and what goes where.
#pragma once

#include <poll.h>

#include <deque>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/portable/bus_connections.h"
#include "platform/portable/bus_endpoint.h"
#include "platform/portable/bus_event.h"
#include "platform/portable/bus_registration.h"

namespace ravd {

// Knows no thread: used under the endpoint's lock. Of the users' calls and of the turns, the turns alone remove
// connections, since a poll set may stand for them meanwhile.
class bus_exchange {
  public:
    // Received and not taken bytes, unfinished messages with the memory they hold. Beyond it nothing is read, except
    // that one unfinished message may always be completed.
    static constexpr std::size_t received_limit = 16u * 1024 * 1024;
    static constexpr std::size_t watcher_limit = 4;
    // Bytes that may wait for a watcher, who may be slow at our expense but not stop us.
    static constexpr std::size_t watch_backlog_limit = 4u * 1024 * 1024;
    // How long an unfinished message may stand still while others wait for its memory.
    static constexpr int stall_limit_ms = 2000;

    explicit bus_exchange(const bus_registration& registration) : registration_(registration) {}

    // The users' calls: those of bus_endpoint.
    bool receive(bus_message& message);
    bool has_received() const { return !inbox_.messages.empty(); }
    bus_result send(int destination, std::string_view text, std::uint64_t* used, bool more = false);
    void end_rows();
    bus_result send_over(std::uint64_t id, std::string_view text);
    const bus_connections& connections() const { return connections_; }

    // A turn: fill_poll_set() appends an entry for each connection and returns the limit for poll(), -1 for none;
    // serve() moves what those entries announce. Where `reading` is false only what is accepted is still written.
    int fill_poll_set(std::vector<pollfd>& set, bool reading);
    void serve(const pollfd* entries, std::size_t count, bool reading);
    // After nothing came in for stall_limit_ms, while fill_poll_set() wanted that limit.
    void end_stalled();
    // Bytes that ever came in.
    std::uint64_t received() const { return received_; }
    // Takes in who waits at the listening socket. False when the rest had better wait for a while: no descriptors are
    // left, or no room, but there will be some once what came in is read.
    bool accept_waiting();
    void close_all();
    // What was taken last from a connection is what our last message over it asked for.
    void settle(std::uint64_t id);
    // The end of an exchange that may be followed by another: closes all but those of our connections on which nothing
    // is owed. One of them is used again unless it has said more by then, or its module shows another socket.
    void pause();
    // -1 for none. Stays the caller's.
    void set_listener(int fd) { listener_ = fd; }

    bus_event& wake() { return wake_; }      // ends the present poll()
    bus_event& notice() { return notice_; }  // the user's: there is something to take, or a connection was closed

  private:
    bus_connection* choose(int destination) const;
    bus_connection* dialled_to(int destination) const;
    bus_result dial(int destination, bus_connection*& made);
    bus_result write(bus_connection& connection, std::string_view text, bool more);
    void remember(const bus_message& message);
    void show(const bus_frame_header& header, std::string_view text);
    bool may_read(const bus_connection& connection) const;
    bool follows_unread(const bus_connection& connection) const;
    void read_from(bus_connection& connection);
    bool handle_frame(bus_connection& connection);
    bool greet(bus_connection& connection, bus_frame_kind kind, int source);
    void remove_ended();
    void forget_received();

    const bus_registration& registration_;
    bus_event wake_;
    bus_event notice_;
    int listener_ = -1;
    bus_connections connections_;
    // For each module the connection of its own that brought the message taken last. The ids stay when their
    // connections are gone: what is sent to that module must not slip into a newer connection of its.
    std::map<int, std::uint64_t> taken_;
    struct {
        std::deque<bus_message> messages;
        std::size_t bytes = 0;
    } inbox_;
    std::size_t unfinished_bytes_ = 0;
    std::uint64_t received_ = 0;
    bool reading_rests_ = false;  // some connection is not read because too much waits to be taken
    std::size_t watchers_ = 0;
    std::unique_ptr<unsigned char[]> buffer_;
};

}  // namespace ravd

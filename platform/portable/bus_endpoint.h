// One endpoint of the message bus: what stands under the mbus calls, and what the simulation's programs use directly.
//
// An endpoint owns the socket and the lock of one module number in the bus's directory. Between start() and stop() a
// thread of its own moves the bytes; it sleeps while nothing moves. For who only asks and waits, the calls can do that
// instead. The calls may be made from any thread, start() and stop() from one at a time.
#pragma once

#include <poll.h>
#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/mbus.h"
#include "platform/portable/short_look.h"
#include "platform/unique_fd.h"

namespace ravd {

class bus_exchange;
class bus_registration;

struct free_block {
    void operator()(unsigned char* block) const { std::free(block); }
};
// Header and payload in one piece of malloc() memory.
using bus_block = std::unique_ptr<unsigned char, free_block>;

// A received message.
struct bus_message {
    int source = 0;                // module number of the sender
    std::uint64_t connection = 0;  // names the connection it came over; never 0 and never used twice by an endpoint
    std::size_t length = 0;        // of the payload
    bus_block block;               // mbus_header_size bytes, then the payload

    std::string_view text() const { return {reinterpret_cast<const char*>(block.get()) + mbus_header_size, length}; }
};

enum class bus_result {
    accepted,    // travels, unless the receiver goes away first
    not_served,  // nobody listens under that number, or the named connection is gone
    too_long,    // more than mbus_message_limit
    full,        // the receiver does not read: its backlog is full, or too many connections are open
};

class bus_endpoint {
    enum class stage {
        idle,      // neither thread nor connections
        by_calls,  // no thread
        polled,    // no thread either
        exchanges,
        flushes,    // only what is accepted is still written
        abandoned,  // and now not even that
    };

  public:
    // Registers `module` in `directory`, which is created (0700, its parents too). Null when the number is taken or the
    // directory is not usable or not ours alone; `error`, when given, then says why.
    static std::unique_ptr<bus_endpoint> open(const std::string& directory, int module, std::string* error = nullptr);
    // stop(), then gives the number back.
    ~bus_endpoint();
    bus_endpoint(const bus_endpoint&) = delete;
    bus_endpoint& operator=(const bus_endpoint&) = delete;

    int module() const;

    // Begins to listen. False when that is not possible; true when it already does.
    bool start() { return start(stage::exchanges); }
    // For who sends and waits for answers: without a thread, since the calls below move the bytes, until some cannot be
    // written at once; and others find nobody under this number before the first receive(). (A thread and a socket in
    // the directory cost ten times what a request does.) A stop() leaves connections open on which nothing is owed, as
    // settle() tells; the next exchange uses them if they are still as they were. One thread makes all calls;
    // descriptor() is of no use.
    bool start_by_calls() { return start(stage::by_calls); }
    // For who has a poll() of its own: without a thread, too. Before each of its polls comes fill(), after it serve()
    // with the entries that fill() appended; or wait_beside() in place of all three. One thread makes all calls;
    // descriptor() and wait() are of no use.
    bool start_polled() { return start(stage::polled); }
    // Milliseconds until serve() wants to be called at the latest; -1: only when an entry has something.
    int fill(std::vector<pollfd>& set);
    // Moves what can be moved; receive() then has what came.
    void serve(const pollfd* entries, std::size_t count);
    // Waits until something moved, `fd` (-1: none) is readable or `limit_ms` are over. Whether `fd` is readable. The
    // one call during which others may send.
    bool wait_beside(int fd, int limit_ms);
    // Gives what was accepted and is not yet written up to 200 ms, then closes all connections and drops what was
    // received and not taken. The number stays ours.
    void stop();
    // False as well when the endpoint broke: stop() and start() may bring it back.
    bool running() const;

    // Takes the next received message; false when there is none. Never blocks.
    bool receive(bus_message& message);
    // The same for who only waits for answers: what wait() has found.
    bool take(bus_message& message);
    // Waits until there is something to receive or a connection was closed, at most `limit_ms`; may also return early.
    void wait(int limit_ms);
    // Readable when receive() has something, or a connection was closed; receive() until false clears it. Owned by the
    // endpoint, the same for its whole life.
    int descriptor() const;

    // Sends to a module: over the connection of that module's that brought the message taken last from it while that is
    // open, else over one that this endpoint opened. Messages to one module arrive in the order of these calls.
    // `connection`, when given, receives the connection used (0 when not accepted). Never blocks.
    // With `more` another call follows at once: the message may be kept back until then and joined with others, for as
    // long as this goes on and no more than 64 KiB wait; end_rows() ends it where no call follows.
    bus_result send(int destination, std::string_view text, std::uint64_t* connection = nullptr, bool more = false);
    void end_rows();
    // Answers over the connection that brought a message. Never blocks.
    bus_result send_over(std::uint64_t connection, std::string_view text);
    bool is_open(std::uint64_t connection) const;
    // The module at the other end of an open connection, else -1.
    int peer_of(std::uint64_t connection) const;
    // Whether that connection is open and a message of ours was accepted for it since the start: then it can bring
    // answers.
    bool has_sent_over(std::uint64_t connection) const;
    // The message taken last from that connection answers our last one over it.
    void settle(std::uint64_t connection);

    // Bytes accepted and not yet written to a socket.
    std::size_t unsent() const;
    // Bytes read from and written to sockets since start(): while it grows, something moves.
    std::uint64_t transferred() const;

  private:
    explicit bus_endpoint(std::unique_ptr<bus_registration> registration);
    static void* thread_entry(void* self);
    bool start(stage wanted);
    bool listen();
    bool start_thread();
    void run();
    // Moves what can be moved, once something can or `beside` has something, after `longest_ms` at most (-1: however
    // long it takes). False when the endpoint broke.
    bool turn(std::unique_lock<std::mutex>& lock, int longest_ms, pollfd* beside = nullptr);
    void turn_by_call(std::unique_lock<std::mutex>& lock, int longest_ms, pollfd* beside = nullptr);
    // The two halves of a turn.
    int prepare(std::vector<pollfd>& set);
    void move(const pollfd* entries, std::size_t count);
    bus_result sent(bus_result result);
    bool flush_by_thread();  // false: there is nothing to write, or no thread to be had
    bool reads() const { return stage_ == stage::exchanges || stage_ == stage::by_calls || stage_ == stage::polled; }
    void set_awaited(bool awaited);  // whether somebody sleeps until the exchange's events
    void hide();

    std::unique_ptr<bus_registration> registration_;
    // Guards all that follows; the thread lets go of it only while it sleeps in poll().
    mutable std::mutex mutex_;
    std::unique_ptr<bus_exchange> exchange_;
    std::condition_variable ended_;  // the thread left its loop
    pthread_t thread_{};
    stage stage_ = stage::idle;
    bool running_ = false;
    mutable bool moved_ = false;     // a message moved since running() was asked last
    mutable unsigned unlooked_ = 0;  // times that running() did not look at the directory
    unique_fd listener_;
    bool listener_rests_ = false;  // no descriptors or no room: accepting is tried again a little later
    // Since when nothing came in, while an unfinished message keeps others waiting.
    struct {
        bool stands;
        std::int64_t since_ms;
        std::uint64_t bytes;
    } still_{};
    std::vector<pollfd> poll_set_;
    short_look look_;  // of who waits for an answer
};

}  // namespace ravd

#include "platform/portable/bus_exchange.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>
#include <utility>

namespace ravd {
namespace {

constexpr std::size_t read_size = 64u * 1024;
constexpr std::size_t remembered_modules = 256;
// Nothing tells when a peer has read everything: that is looked at so often while, and only while, somebody waits for
// it.
constexpr int hold_look_ms = 4;
// What a waiting message costs beside its payload.
constexpr std::size_t message_overhead = sizeof(bus_message) + mbus_header_size + 16;

}  // namespace

bool bus_exchange::receive(bus_message& message) {
    if (inbox_.messages.empty()) {
        notice_.clear();
        return false;
    }
    message = std::move(inbox_.messages.front());
    inbox_.messages.pop_front();
    inbox_.bytes -= message.length + message_overhead;
    if (reading_rests_ && inbox_.bytes <= received_limit - received_limit / 8) {
        reading_rests_ = false;
        wake_.set();
    }
    remember(message);
    return true;
}

void bus_exchange::remember(const bus_message& message) {
    bus_connection* connection = connections_.find(message.connection);
    if (connection && connection->dialled()) return;
    if (taken_.size() >= remembered_modules && taken_.find(message.source) == taken_.end()) {
        for (auto entry = taken_.begin(); entry != taken_.end();)
            entry = connections_.find(entry->second) ? std::next(entry) : taken_.erase(entry);
    }
    std::uint64_t& taken = taken_[message.source];
    // From here on that module is talked to over this one: what we had dialled may still be unread there.
    const std::uint64_t earlier = taken != message.connection ? connections_.left_unread(message.source) : 0;
    if (connection && earlier != 0) connection->hold_after(earlier);
    taken = message.connection;
}

bus_connection* bus_exchange::dialled_to(int destination) const {
    bus_connection* own = connections_.dialled_to(destination);
    if (!own || !own->paused() || (own->unread() == 0 && own->place() == registration_.place_of(destination)))
        return own;
    own->end();
    return nullptr;
}

// The connection over which that module asked last, else one that we dialled.
bus_connection* bus_exchange::choose(int destination) const {
    bus_connection* own = dialled_to(destination);
    const auto known = taken_.find(destination);
    bus_connection* asked = known == taken_.end() ? nullptr : connections_.find(known->second);
    if (!asked || asked->write_failed() || asked->peer() != destination) return own;
    if (own) {
        // Both ends dialled each other. From here on this module is talked to where it asks.
        own->end_row();
        own->leave();
        if (const std::uint64_t earlier = connections_.left_unread(destination)) asked->hold_after(earlier);
    }
    return asked;
}

bus_result bus_exchange::dial(int destination, bus_connection*& made) {
    if (!connections_.make_room()) return bus_result::full;
    const bus_place place = registration_.place_of(destination);
    unique_fd socket = registration_.connect(destination);
    if (!socket)
        return errno == EAGAIN || errno == EMFILE || errno == ENFILE ? bus_result::full : bus_result::not_served;
    // What that module sent before it began to listen there is older than what will come over this connection.
    (void)accept_waiting();
    made = &connections_.add(std::move(socket), destination, true);
    made->set_place(place);
    made->begin_with_hello();
    // Where that module asked may have ended before what we had dialled until then was read.
    made->hold_after(connections_.left_unread(destination));
    wake_.set();
    return bus_result::accepted;
}

bus_result bus_exchange::write(bus_connection& connection, std::string_view text, bool more) {
    const bus_frame_header header{registration_.module(), connection.peer(), static_cast<std::uint32_t>(text.size()),
                                  bus_frame_kind::message};
    const bool waited = connection.waits();
    const bus_result result = connection.write(header, text, more);
    // What fails here may have kept another connection back.
    if (connection.write_failed() || (!waited && connection.waits())) wake_.set();
    if (result == bus_result::accepted) show(header, text);
    return result;
}

bus_result bus_exchange::send(int destination, std::string_view text, std::uint64_t* used, bool more) {
    // A connection whose other end went away unnoticed fails here, and the next one is tried.
    for (;;) {
        bus_connection* connection = choose(destination);
        const bool fresh = !connection;
        bus_result result = fresh ? dial(destination, connection) : bus_result::accepted;
        if (result == bus_result::accepted) result = write(*connection, text, more);
        if (result == bus_result::not_served && !fresh) continue;
        if (result == bus_result::accepted && used) *used = connection->id();
        return result;
    }
}

bus_result bus_exchange::send_over(std::uint64_t id, std::string_view text) {
    bus_connection* connection = connections_.find(id);
    return connection && connection->peer() >= 0 ? write(*connection, text, false) : bus_result::not_served;
}

void bus_exchange::end_rows() {
    for (const auto& connection : connections_) {
        connection->end_row();
        if (connection->write_failed() || connection->waits()) wake_.set();
    }
}

// A copy to each watcher. What a slow one misses is counted, and told before the next copy.
void bus_exchange::show(const bus_frame_header& header, std::string_view text) {
    if (watchers_ == 0) return;
    for (const auto& connection : connections_) {
        if (!connection->watching() || connection->ended()) continue;
        const auto count = static_cast<unsigned>(connection->missed());
        const std::string missed = count > 0 ? std::to_string(count) : std::string();
        if (connection->backlog() + text.size() + 128 > watch_backlog_limit) {
            connection->set_missed(connection->missed() + 1);
            continue;
        }
        const bus_frame_header gap{registration_.module(), registration_.module(),
                                   static_cast<std::uint32_t>(missed.size()), bus_frame_kind::watch};
        if (!missed.empty()) (void)connection->write(gap, missed);
        connection->set_missed(0);
        (void)connection->write(header, text);
        if (connection->backlog() > 0) wake_.set();
    }
}

int bus_exchange::fill_poll_set(std::vector<pollfd>& set, bool reading) {
    remove_ended();  // who gave way to another
    bool stalled = false;
    bool held = false;
    reading_rests_ = false;
    for (const auto& connection : connections_) {
        if (connection->held_by() != 0) {
            const bus_connection* earlier = connections_.find(connection->held_by());
            if (earlier && !earlier->drained()) {
                held = true;
            } else {
                connection->hold_after(0);
                connection->flush();
            }
        }
        short events = 0;
        if (reading && may_read(*connection)) {
            events |= POLLIN;
        } else {
            reading_rests_ = true;
            stalled = reading && inbox_.bytes < received_limit;
        }
        if (connection->waits() && connection->held_by() == 0) events |= POLLOUT;
        // A descriptor with nothing to do is left out: its hang-up would be reported over and over.
        set.push_back({events && !connection->ended() ? connection->fd() : -1, events, 0});
    }
    if (held) return hold_look_ms;
    return stalled ? stall_limit_ms : -1;
}

// The set covers the connections that were there when it was filled; newer ones stand behind them.
void bus_exchange::serve(const pollfd* entries, std::size_t count, bool reading) {
    for (std::size_t i = 0; i < count; ++i) {
        bus_connection& connection = connections_[i];
        if (!entries[i].revents || connection.ended()) continue;
        if (entries[i].revents & (POLLOUT | POLLERR | POLLHUP) && connection.held_by() == 0) connection.flush();
        if (reading && may_read(connection) && !follows_unread(connection)) read_from(connection);
    }
    remove_ended();
}

void bus_exchange::end_stalled() {
    for (const auto& connection : connections_) {
        if (connection->reader().memory() == 0) continue;
        connection->end();
        break;
    }
    remove_ended();
}

bool bus_exchange::accept_waiting() {
    while (listener_ >= 0) {
        if (!connections_.may_grow()) return false;
        unique_fd socket(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket && (errno == EINTR || errno == ECONNABORTED)) continue;
        if (!socket) return errno == EAGAIN || errno == EWOULDBLOCK;
        if (connections_.make_room()) connections_.add(std::move(socket), -1, false);
    }
    return true;
}

void bus_exchange::close_all() {
    connections_.clear();
    forget_received();
}

void bus_exchange::settle(std::uint64_t id) {
    if (bus_connection* connection = connections_.find(id)) connection->settle();
}

void bus_exchange::pause() {
    connections_.keep_settled();
    forget_received();
}

void bus_exchange::forget_received() {
    inbox_.messages.clear();
    inbox_.bytes = unfinished_bytes_ = watchers_ = 0;
    wake_.clear();
    notice_.clear();
}

bool bus_exchange::may_read(const bus_connection& connection) const {
    if (inbox_.bytes >= received_limit) return false;
    if (inbox_.bytes + unfinished_bytes_ < received_limit) return true;
    // Unfinished messages alone must not bring everything to a stop: the first of them goes on.
    for (const auto& other : connections_)
        if (other->reader().memory() > 0) return other.get() == &connection;
    return true;
}

// A module that stopped and started again left its last messages in the connections of before: they are read first.
bool bus_exchange::follows_unread(const bus_connection& connection) const {
    for (const auto& other : connections_) {
        if (other.get() == &connection || connection.nameless()) return false;
        if (other->peer() == connection.peer() && !other->ended() && other->unread() > 0 && may_read(*other))
            return true;
    }
    return false;
}

void bus_exchange::read_from(bus_connection& connection) {
    if (!buffer_) buffer_.reset(new unsigned char[read_size]);
    bus_frame_reader& reader = connection.reader();
    // The hello alone first: what comes behind it may have to wait for another connection of that module.
    const std::size_t wanted = connection.nameless() ? mbus_header_size - reader.held() : read_size;
    const ssize_t n = ::recv(connection.fd(), buffer_.get(), wanted, 0);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    if (n <= 0) return connection.end();
    const auto count = static_cast<std::size_t>(n);
    connection.count_transferred(count);
    received_ += count;
    unfinished_bytes_ -= reader.memory();
    bool good = true;
    for (std::size_t done = 0; good && done < count;) {
        std::size_t used = 0;
        const auto state = reader.feed(buffer_.get() + done, count - done, used);
        done += used;
        if (state == bus_frame_reader::state::more) break;
        good = state == bus_frame_reader::state::whole && handle_frame(connection);
    }
    unfinished_bytes_ += reader.memory();
    if (!good) connection.end();
}

bool bus_exchange::handle_frame(bus_connection& connection) {
    const bus_frame_header header = connection.reader().header();
    bus_message message{header.source, connection.id(), header.length, connection.reader().take()};
    if (header.destination != registration_.module()) return false;
    if (connection.nameless()) return greet(connection, header.kind, header.source);
    if (header.kind != bus_frame_kind::message || header.source != connection.peer()) return false;
    show(header, message.text());
    connection.count_received();
    inbox_.messages.push_back(std::move(message));
    inbox_.bytes += header.length + message_overhead;
    notice_.set();
    return true;
}

// The first frame of a connection: who is there, or that somebody wants to watch.
bool bus_exchange::greet(bus_connection& connection, bus_frame_kind kind, int source) {
    if (kind == bus_frame_kind::message) return false;
    if (kind == bus_frame_kind::hello) {
        connection.set_peer(source);
        return true;
    }
    if (watchers_ == watcher_limit) return false;
    ++watchers_;
    connection.set_watching();
    return true;
}

void bus_exchange::remove_ended() {
    const bool removed = connections_.remove_ended([this](const bus_connection& gone) {
        unfinished_bytes_ -= gone.reader().memory();
        watchers_ -= gone.watching();
    });
    if (removed) notice_.set();  // whoever waits for an answer over one of them learns of it
}

}  // namespace ravd

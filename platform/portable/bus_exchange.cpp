#include "platform/portable/bus_exchange.h"

#include <sys/ioctl.h>
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
// What a waiting message costs beside its payload.
constexpr std::size_t message_overhead = sizeof(bus_message) + mbus_header_size + 16;

std::size_t unread(const bus_connection& connection) {
    int bytes = 0;
    return ::ioctl(connection.fd(), FIONREAD, &bytes) == 0 && bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
}

// Whether what a module wrote into `first` is older than what it wrote into `second`. A module that starts again dials
// again; one that dialled us while we dialled it moves from its own connection to ours, never back.
bool precedes(const bus_connection& first, const bus_connection& second) {
    if (first.peer() != second.peer() || first.peer() < 0) return false;
    return first.dialled() == second.dialled() ? first.id() < second.id() : second.dialled();
}

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
    const bus_connection* connection = find(message.connection);
    if (connection && connection->dialled()) return;
    if (taken_.size() >= remembered_modules && taken_.find(message.source) == taken_.end()) {
        for (auto entry = taken_.begin(); entry != taken_.end();)
            entry = find(entry->second) ? std::next(entry) : taken_.erase(entry);
    }
    taken_[message.source] = message.connection;
}

bus_connection* bus_exchange::open_connection(std::uint64_t id) const {
    for (const auto& connection : connections_)
        if (connection->id() == id && !connection->ended()) return connection.get();
    return nullptr;
}

const bus_connection* bus_exchange::find(std::uint64_t id) const { return open_connection(id); }

std::size_t bus_exchange::unsent() const {
    std::size_t bytes = 0;
    for (const auto& connection : connections_)
        if (!connection->watching()) bytes += connection->backlog();
    return bytes;
}

std::uint64_t bus_exchange::transferred() const {
    std::uint64_t bytes = transferred_;
    for (const auto& connection : connections_)
        bytes += connection->transferred();
    return bytes;
}

// The connection over which that module asked last, else one that we dialled.
bus_connection* bus_exchange::choose(int destination) const {
    bus_connection* own = nullptr;
    for (const auto& connection : connections_)
        if (connection->dialled() && connection->peer() == destination && !connection->ended()) own = connection.get();
    const auto known = taken_.find(destination);
    bus_connection* asked = known == taken_.end() ? nullptr : open_connection(known->second);
    if (own && own->write_failed()) own = nullptr;
    if (!asked || asked->write_failed() || asked->peer() != destination) return own;
    if (own && own->backlog() > 0) asked->hold_after(own->id());
    return asked;
}

bus_result bus_exchange::dial(int destination, bus_connection*& made) {
    if (!make_room()) return bus_result::full;
    unique_fd socket = registration_.connect(destination);
    if (!socket)
        return errno == EAGAIN || errno == EMFILE || errno == ENFILE ? bus_result::full : bus_result::not_served;
    auto connection = std::make_unique<bus_connection>(++last_id_, std::move(socket), destination, true);
    const bus_frame_header hello{registration_.module(), destination, 0, bus_frame_kind::hello};
    const bus_result result = connection->write(hello, {});
    if (result != bus_result::accepted) return result;
    made = connection.get();
    connections_.push_back(std::move(connection));
    wake_.set();
    return result;
}

// Room for one more connection. Where there is none, the oldest that never said anything gives way.
bool bus_exchange::make_room() {
    const census seen = count_connections();
    if (seen.room) return true;
    if (!seen.silent) return false;
    seen.silent->end();
    wake_.set();
    return true;
}

bus_exchange::census bus_exchange::count_connections() const {
    const auto open = std::count_if(connections_.begin(), connections_.end(),
                                    [](const auto& connection) { return !connection->ended(); });
    if (static_cast<std::size_t>(open) < connection_limit) return {true, false, nullptr};
    census seen{false, false, nullptr};
    for (const auto& connection : connections_) {
        if (connection->ended()) continue;
        pollfd entry{connection->fd(), POLLIN, 0};
        (void)::poll(&entry, 1, 0);
        const bool nameless = connection->peer() < 0 && !connection->watching();
        if (nameless && !entry.revents && !seen.silent) seen.silent = connection.get();
        seen.moves = seen.moves || (entry.revents & POLLHUP) || (nameless && entry.revents);
    }
    return seen;
}

bus_result bus_exchange::write(bus_connection& connection, std::string_view text) {
    const bus_frame_header header{registration_.module(), connection.peer(), static_cast<std::uint32_t>(text.size()),
                                  bus_frame_kind::message};
    const bool waited = connection.backlog() > 0;
    const bus_result result = connection.write(header, text);
    // What fails here may have kept another connection back.
    if (connection.write_failed() || (!waited && connection.backlog() > 0)) wake_.set();
    if (result == bus_result::accepted) show(header, text);
    return result;
}

bus_result bus_exchange::send(int destination, std::string_view text, std::uint64_t* used) {
    // A connection whose other end went away unnoticed fails here, and the next one is tried.
    for (;;) {
        bus_connection* connection = choose(destination);
        const bool fresh = !connection;
        bus_result result = fresh ? dial(destination, connection) : bus_result::accepted;
        if (result == bus_result::accepted) result = write(*connection, text);
        if (result == bus_result::not_served && !fresh) continue;
        if (result == bus_result::accepted && used) *used = connection->id();
        return result;
    }
}

bus_result bus_exchange::send_over(std::uint64_t id, std::string_view text) {
    bus_connection* connection = open_connection(id);
    return connection && connection->peer() >= 0 ? write(*connection, text) : bus_result::not_served;
}

// A copy to each watcher. What a slow one misses is counted, and told before the next copy.
void bus_exchange::show(const bus_frame_header& header, std::string_view text) {
    if (watchers_ == 0) return;
    for (const auto& connection : connections_) {
        if (!connection->watching() || connection->ended()) continue;
        const std::string missed = connection->missed() > 0 ? std::to_string(connection->missed()) : std::string();
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
    bool stalled = false;
    reading_rests_ = false;
    for (const auto& connection : connections_) {
        if (connection->held_by() != 0) {
            const bus_connection* earlier = find(connection->held_by());
            if (!earlier || earlier->backlog() == 0) {
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
        if (connection->backlog() > 0 && connection->held_by() == 0) events |= POLLOUT;
        // A descriptor with nothing to do is left out: its hang-up would be reported over and over.
        set.push_back({events && !connection->ended() ? connection->fd() : -1, events, 0});
    }
    return stalled ? stall_limit_ms : -1;
}

// The set covers the connections that were there when it was filled; newer ones stand behind them.
void bus_exchange::serve(const pollfd* entries, std::size_t count, bool reading) {
    for (std::size_t i = 0; i < count; ++i) {
        bus_connection& connection = *connections_[i];
        if (!entries[i].revents || connection.ended()) continue;
        if (entries[i].revents & (POLLOUT | POLLERR | POLLHUP) && connection.held_by() == 0) connection.flush();
        if (reading && may_read(connection)) read_in_order(connection);
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

bool bus_exchange::may_accept() const {
    const census seen = count_connections();
    return seen.room || !seen.moves;
}

void bus_exchange::accept(unique_fd socket) {
    if (!make_room()) return;
    remove_ended();
    connections_.push_back(std::make_unique<bus_connection>(++last_id_, std::move(socket), -1, false));
}

void bus_exchange::close_all() {
    connections_.clear();
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

// First what that module wrote earlier into another connection. All of it is there by now: it moves on only when
// nothing is left to be written.
void bus_exchange::read_in_order(bus_connection& connection) {
    std::size_t limit = read_size;
    for (std::size_t i = 0; i < connections_.size(); ++i) {
        bus_connection& other = *connections_[i];
        if (!precedes(other, connection)) continue;
        limit = std::min(limit, std::max<std::size_t>(unread(connection), 1));
        for (std::size_t left = unread(other); left > 0 && !other.ended();) {
            const std::size_t piece = std::min(left, read_size);
            read_from(other, piece);
            left -= piece;
        }
    }
    read_from(connection, limit);
}

void bus_exchange::read_from(bus_connection& connection, std::size_t limit) {
    if (!buffer_) buffer_.reset(new unsigned char[read_size]);
    bus_frame_reader& reader = connection.reader();
    // The hello alone first: what comes behind it may have to wait for another connection of that module.
    const std::size_t wanted = connection.peer() < 0 ? mbus_header_size - reader.held() : limit;
    const ssize_t n = ::recv(connection.fd(), buffer_.get(), wanted, 0);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    if (n <= 0) return connection.end();
    const auto count = static_cast<std::size_t>(n);
    connection.count_transferred(count);
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
    if (connection.peer() < 0) return greet(connection, header.kind, header.source);
    if (header.kind != bus_frame_kind::message || header.source != connection.peer()) return false;
    show(header, message.text());
    inbox_.messages.push_back(std::move(message));
    inbox_.bytes += header.length + message_overhead;
    notice_.set();
    return true;
}

// The first frame of a connection: who is there, or that somebody wants to watch.
bool bus_exchange::greet(bus_connection& connection, bus_frame_kind kind, int source) {
    if (connection.watching() || kind == bus_frame_kind::message) return false;
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
    const auto first = std::stable_partition(connections_.begin(), connections_.end(),
                                             [](const auto& connection) { return !connection->ended(); });
    if (first == connections_.end()) return;
    for (auto gone = first; gone != connections_.end(); ++gone) {
        unfinished_bytes_ -= (*gone)->reader().memory();
        transferred_ += (*gone)->transferred();
        watchers_ -= (*gone)->watching();
    }
    connections_.erase(first, connections_.end());
    notice_.set();  // whoever waits for an answer over one of them learns of it
}

}  // namespace ravd

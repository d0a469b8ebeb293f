// The thread of a bus endpoint.
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "platform/portable/bus_engine.h"

namespace ravd {
namespace {

constexpr std::size_t read_size = 64u * 1024;
constexpr int listener_rest_ms = 100;
constexpr int hold_wait_limit_ms = 20;

void clear_event(int fd) {
    std::uint64_t count;
    (void)!::read(fd, &count, sizeof count);
}

}  // namespace

void* bus_endpoint::engine::thread_entry(void* self) {
    (void)::prctl(PR_SET_NAME, "ravd:bus", 0, 0, 0);
    static_cast<engine*>(self)->run();
    return nullptr;
}

bool bus_endpoint::engine::may_read(bus_connection& connection) {
    if (inbox_bytes_ >= received_limit) return false;
    if (inbox_bytes_ + unfinished_bytes_ < received_limit) return true;
    // Unfinished frames alone must not bring everything to a stop: the first of them goes on.
    for (const auto& other : connections_)
        if (other->reader().held() > 0) return other.get() == &connection;
    return true;
}

// Lets go of connections whose turn to write has come. Nothing tells when a peer has read everything, so that is looked
// at now and then while, and only while, somebody waits for it.
void bus_endpoint::engine::release_held() {
    bool waiting = false;
    for (const auto& connection : connections_) {
        if (connection->held_by() == 0) continue;
        const bus_connection* earlier = find(connection->held_by());
        if (earlier && !earlier->drained()) {
            waiting = true;
            continue;
        }
        connection->hold_after(0);
        connection->flush();
    }
    hold_wait_ms_ = waiting ? std::min(std::max(1, 2 * hold_wait_ms_), hold_wait_limit_ms) : 0;
}

// Returns the time limit for poll(), -1 for none.
int bus_endpoint::engine::fill_poll_set() {
    poll_set_.clear();
    poll_set_.push_back({wake_.get(), POLLIN, 0});
    poll_set_.push_back({listener_rests_ ? -1 : listener_.get(), POLLIN, 0});
    reading_rests_ = false;
    for (const auto& connection : connections_) {
        short events = 0;
        if (!stopping_ && may_read(*connection))
            events |= POLLIN;
        else
            reading_rests_ = true;
        if (connection->backlog() > 0 && connection->held_by() == 0) events |= POLLOUT;
        // A descriptor with nothing to do is left out: its hang-up would be reported over and over.
        poll_set_.push_back({events ? connection->fd() : -1, events, 0});
    }
    if (hold_wait_ms_ > 0) return hold_wait_ms_;
    return listener_rests_ ? listener_rest_ms : -1;
}

void bus_endpoint::engine::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    try {
        if (!buffer_) buffer_.reset(new unsigned char[read_size]);
        while (!abandon_) {
            release_held();
            const int limit = fill_poll_set();
            lock.unlock();
            const int ready = ::poll(poll_set_.data(), static_cast<nfds_t>(poll_set_.size()), limit);
            const bool failed = ready < 0 && errno != EINTR && errno != ENOMEM;
            if (ready > 0 && poll_set_[0].revents) clear_event(wake_.get());
            lock.lock();
            listener_rests_ = false;
            if (failed) break;
            if (ready > 0) {
                // The set covers the connections that were there when it was filled; newer ones come behind them.
                for (std::size_t i = 2; i < poll_set_.size(); ++i)
                    if (poll_set_[i].revents) serve(*connections_[i - 2], poll_set_[i].revents);
                remove_closed();
                if (poll_set_[1].revents & POLLIN) accept_connections();
            }
            if (!stopping_) continue;
            if (listener_) {
                listener_.reset();
                registration_->hide();
            }
            std::size_t pending = 0;
            for (const auto& connection : connections_)
                pending += connection->backlog();
            if (pending == 0) break;
        }
    } catch (const std::bad_alloc&) {
        // Ends as one that broke.
    }
    running_ = false;
    if (listener_) {
        listener_.reset();
        registration_->hide();
    }
    notified_ = false;
    notify();
}

void bus_endpoint::engine::accept_connections() {
    while (listener_) {
        unique_fd socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            listener_rests_ = errno != EAGAIN && errno != EWOULDBLOCK;
            return;
        }
        if (connections_.size() >= connection_limit) continue;
        connections_.push_back(std::make_unique<bus_connection>(++last_id_, std::move(socket), -1, false));
    }
}

void bus_endpoint::engine::serve(bus_connection& connection, short events) {
    if (events & (POLLOUT | POLLERR | POLLHUP)) {
        if (connection.held_by() == 0) connection.flush();
    }
    if (!stopping_ && may_read(connection) && !follows_unread(connection)) read_from(connection);
}

// A module that stopped and started again left its last messages in the connection of before: they are read first.
bool bus_endpoint::engine::follows_unread(const bus_connection& connection) {
    for (const auto& other : connections_) {
        if (other.get() == &connection) return false;
        if (other->peer() != connection.peer() || connection.peer() < 0) continue;
        int unread = 0;
        if (::ioctl(other->fd(), FIONREAD, &unread) == 0 && unread > 0 && may_read(*other)) return true;
    }
    return false;
}

void bus_endpoint::engine::read_from(bus_connection& connection) {
    // The hello alone first: what comes behind it may have to wait for another connection of that module.
    const std::size_t wanted = connection.peer() < 0 ? mbus_header_size - connection.reader().held() : read_size;
    const ssize_t n = ::recv(connection.fd(), buffer_.get(), wanted, 0);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    if (n <= 0) {
        closed_.push_back(connection.id());
        return;
    }
    bus_frame_reader& reader = connection.reader();
    const auto count = static_cast<std::size_t>(n);
    connection.count_transferred(count);
    unfinished_bytes_ -= reader.held();
    bool good = true;
    for (std::size_t done = 0; good && done < count;) {
        std::size_t used = 0;
        const auto state = reader.feed(buffer_.get() + done, count - done, used);
        done += used;
        if (state == bus_frame_reader::state::more) break;
        good = state == bus_frame_reader::state::whole && handle_frame(connection);
    }
    unfinished_bytes_ += reader.held();
    if (!good) closed_.push_back(connection.id());
}

bool bus_endpoint::engine::handle_frame(bus_connection& connection) {
    const bus_frame_header header = connection.reader().header();
    bus_block block = connection.reader().take();
    const bool hello = header.kind == bus_frame_kind::hello;
    if (header.destination != module() || hello != (connection.peer() < 0)) return false;
    if (hello) {
        connection.set_peer(header.source);
        return true;
    }
    if (header.source != connection.peer()) return false;
    inbox_.push_back({header.source, connection.id(), header.length, std::move(block)});
    inbox_bytes_ += header.length + message_overhead;
    notify();
    return true;
}

void bus_endpoint::engine::remove_closed() {
    if (closed_.empty()) return;
    for (const std::uint64_t id : closed_) {
        const auto found = std::find_if(connections_.begin(), connections_.end(),
                                        [id](const auto& connection) { return connection->id() == id; });
        if (found == connections_.end()) continue;
        unfinished_bytes_ -= (*found)->reader().held();
        transferred_ += (*found)->transferred();
        connections_.erase(found);
    }
    closed_.clear();
    notify();  // whoever waits for an answer over one of them learns of it
}

}  // namespace ravd

#include "platform/portable/bus_engine.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

namespace ravd {
namespace {

constexpr std::size_t thread_stack = 128u * 1024;
constexpr std::size_t route_limit = 256;

void add_event(int fd) {
    const std::uint64_t one = 1;
    // A full counter has woken the reader already.
    (void)!::write(fd, &one, sizeof one);
}

void clear_event(int fd) {
    std::uint64_t count;
    (void)!::read(fd, &count, sizeof count);
}

}  // namespace

bus_endpoint::engine::engine(std::unique_ptr<bus_registration> registration, unique_fd wake, unique_fd notify)
    : registration_(std::move(registration)), wake_(std::move(wake)), notify_(std::move(notify)) {}

void bus_endpoint::engine::wake() { add_event(wake_.get()); }

void bus_endpoint::engine::notify() {
    if (notified_) return;
    notified_ = true;
    add_event(notify_.get());
}

void bus_endpoint::engine::clear_notice() {
    if (!notified_) return;
    notified_ = false;
    clear_event(notify_.get());
}

bool bus_endpoint::engine::start() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        moved_ = false;
    }
    if (running()) return true;
    stop();
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string error;
    if (!registration_->renew(error)) return false;
    listener_ = registration_->listen();
    if (!listener_) return false;
    stopping_ = abandon_ = listener_rests_ = reading_rests_ = false;
    transferred_ = 0;

    // Signals are the business of the program's own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, thread_stack);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_started_ = pthread_create(&thread_, &attributes, thread_entry, this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    running_ = thread_started_;
    if (!running_) {
        listener_.reset();
        registration_->hide();
    }
    return running_;
}

void bus_endpoint::engine::stop() {
    if (!thread_started_) return;
    bool pending = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        running_ = false;
        stopping_ = true;
        for (const auto& connection : connections_)
            pending = pending || connection->backlog() > 0;
        abandon_ = !pending;
        notified_ = false;
        clear_event(notify_.get());
    }
    wake();
    if (pending) {
        pollfd ended{notify_.get(), POLLIN, 0};
        (void)::poll(&ended, 1, flush_limit_ms);
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            abandon_ = true;
        }
        wake();
    }
    pthread_join(thread_, nullptr);
    thread_started_ = false;
    const std::lock_guard<std::mutex> lock(mutex_);
    connections_.clear();
    closed_.clear();
    inbox_.clear();
    inbox_bytes_ = unfinished_bytes_ = 0;
    clear_event(wake_.get());
    notified_ = false;
    clear_event(notify_.get());
}

// Looking at the directory costs as much as sending a message: while messages move that is done now and then.
bool bus_endpoint::engine::running() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool look = !std::exchange(moved_, false) || ++unlooked_ == look_interval;
    if (look) unlooked_ = 0;
    return running_ && (!look || registration_->visible());
}

bool bus_endpoint::engine::receive(bus_message& message) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (inbox_.empty()) {
        clear_notice();
        return false;
    }
    moved_ = true;
    message = std::move(inbox_.front());
    inbox_.pop_front();
    inbox_bytes_ -= message.length + message_overhead;
    route_to(message.source).taken = message.connection;
    if (bus_connection* connection = find(message.connection)) connection->set_brought();
    if (reading_rests_ && inbox_bytes_ <= received_limit - received_limit / 8) {
        reading_rests_ = false;
        wake();
    }
    return true;
}

bus_connection* bus_endpoint::engine::find(std::uint64_t id) const {
    if (id == 0) return nullptr;
    for (const auto& connection : connections_)
        if (connection->id() == id) return connection.get();
    return nullptr;
}

bool bus_endpoint::engine::is_open(std::uint64_t connection) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return find(connection) != nullptr;
}

int bus_endpoint::engine::peer_of(std::uint64_t connection) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bus_connection* found = find(connection);
    return found ? found->peer() : -1;
}

bool bus_endpoint::engine::has_sent_over(std::uint64_t connection) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bus_connection* found = find(connection);
    return found && found->carried();
}

std::size_t bus_endpoint::engine::unsent() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t bytes = 0;
    for (const auto& connection : connections_)
        bytes += connection->backlog();
    return bytes;
}

std::uint64_t bus_endpoint::engine::transferred() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::uint64_t bytes = transferred_;
    for (const auto& connection : connections_)
        bytes += connection->transferred();
    return bytes;
}

bus_endpoint::engine::route& bus_endpoint::engine::route_to(int module) {
    if (routes_.size() >= route_limit && routes_.find(module) == routes_.end()) {
        for (auto entry = routes_.begin(); entry != routes_.end();)
            entry = find(entry->second.taken) || find(entry->second.used) ? std::next(entry) : routes_.erase(entry);
    }
    return routes_[module];
}

// Two modules may have dialled each other at the same moment. Then each moves to the connection that brought it
// something and stays there, so that they do not swap connections for ever.
bus_connection* bus_endpoint::engine::choose(int destination, const route& known) const {
    const auto usable = [destination](bus_connection* connection) {
        return connection && connection->peer() == destination && !connection->write_failed();
    };
    bus_connection* used = find(known.used);
    bus_connection* taken = find(known.taken);
    if (usable(used)) {
        if (used->held_by() != 0) return used;
        if (usable(taken) && used->brought() && used->dialled() != taken->dialled()) return used;
    }
    if (usable(taken)) return taken;
    for (const auto& connection : connections_)
        if (connection->dialled() && usable(connection.get())) return connection.get();
    return nullptr;
}

bus_connection* bus_endpoint::engine::dial(int destination, bus_result& result) {
    result = bus_result::full;
    if (connections_.size() >= connection_limit) return nullptr;
    unique_fd socket = registration_->connect(destination);
    if (!socket) {
        if (errno != EAGAIN && errno != EMFILE && errno != ENFILE) result = bus_result::not_served;
        return nullptr;
    }
    auto made = std::make_unique<bus_connection>(++last_id_, std::move(socket), destination, true);
    const bus_frame_header hello{module(), destination, 0, bus_frame_kind::hello};
    result = made->write(hello, {});
    if (result != bus_result::accepted) return nullptr;
    connections_.push_back(std::move(made));
    wake();
    return connections_.back().get();
}

bus_result bus_endpoint::engine::write(bus_connection& connection, std::string_view text) {
    const bus_frame_header header{module(), connection.peer(), static_cast<std::uint32_t>(text.size()),
                                  bus_frame_kind::message};
    moved_ = true;
    const bool waited = connection.backlog() > 0;
    const bus_result result = connection.write(header, text);
    if (!waited && connection.backlog() > 0) wake();
    return result;
}

bus_result bus_endpoint::engine::send(int destination, std::string_view text, std::uint64_t* used) {
    if (used) *used = 0;
    if (text.size() > mbus_message_limit) return bus_result::too_long;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!running_ || destination < 0) return bus_result::not_served;
    try {
        route& known = route_to(destination);
        // A connection whose other end went away unnoticed fails here, and the next one is tried.
        for (;;) {
            bus_result result = bus_result::accepted;
            bus_connection* connection = choose(destination, known);
            const bool fresh = !connection;
            if (fresh && !(connection = dial(destination, result))) return result;
            if (known.used != connection->id()) {
                const bus_connection* earlier = find(known.used);
                if (earlier && earlier->dialled() != connection->dialled() && !earlier->drained())
                    connection->hold_after(earlier->id());
            }
            result = write(*connection, text);
            if (result == bus_result::not_served && !fresh) continue;
            if (result != bus_result::accepted) return result;
            known.used = connection->id();
            if (used) *used = connection->id();
            return result;
        }
    } catch (const std::bad_alloc&) {
        return bus_result::full;
    }
}

bus_result bus_endpoint::engine::send_over(std::uint64_t id, std::string_view text) {
    if (text.size() > mbus_message_limit) return bus_result::too_long;
    const std::lock_guard<std::mutex> lock(mutex_);
    bus_connection* connection = find(id);
    if (!running_ || !connection || connection->peer() < 0) return bus_result::not_served;
    try {
        return write(*connection, text);
    } catch (const std::bad_alloc&) {
        return bus_result::full;
    }
}

}  // namespace ravd

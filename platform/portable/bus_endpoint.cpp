#include "platform/portable/bus_endpoint.h"

#include <signal.h>
#include <sys/prctl.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/monotonic.h"
#include "platform/portable/bus_exchange.h"
#include "platform/portable/bus_registration.h"

namespace ravd {
namespace {

constexpr std::size_t thread_stack = 128u * 1024;
constexpr unsigned look_interval = 64;
constexpr std::chrono::milliseconds flush_limit(200);
constexpr int listener_rest_ms = 100;
constexpr std::size_t usual_descriptors = 8;

using guard = std::lock_guard<std::mutex>;

}  // namespace

std::unique_ptr<bus_endpoint> bus_endpoint::open(const std::string& directory, int module, std::string* error) {
    std::string reason;
    std::unique_ptr<bus_endpoint> made;
    if (auto registration = bus_registration::take(directory, module, reason)) {
        made.reset(new bus_endpoint(std::move(registration)));
        if (made->exchange_->wake().descriptor() < 0 || made->exchange_->notice().descriptor() < 0) {
            reason = std::strerror(errno);
            made.reset();
        }
    }
    if (error) *error = reason;
    return made;
}

bus_endpoint::bus_endpoint(std::unique_ptr<bus_registration> registration)
    : registration_(std::move(registration)), exchange_(std::make_unique<bus_exchange>(*registration_)) {}

bus_endpoint::~bus_endpoint() { stop(); }

int bus_endpoint::module() const { return registration_->module(); }
int bus_endpoint::descriptor() const { return exchange_->notice().descriptor(); }

bool bus_endpoint::start(stage wanted) {
    {
        const guard lock(mutex_);
        moved_ = false;
    }
    if (running()) return true;
    stop();
    const guard lock(mutex_);
    set_awaited(wanted == stage::exchanges);
    if (wanted != stage::exchanges) poll_set_.reserve(usual_descriptors);  // idle turns allocate nothing
    if (wanted == stage::by_calls) {
        stage_ = stage::by_calls;
        return running_ = true;
    }
    exchange_->close_all();
    running_ = listen() && (wanted == stage::polled || start_thread());
    if (running_) stage_ = wanted;
    if (!running_) hide();
    return running_;
}

bool bus_endpoint::listen() {
    std::string error;
    if (!registration_->renew(error)) return false;
    listener_ = registration_->listen();
    exchange_->set_listener(listener_.get());
    return static_cast<bool>(listener_);
}

bool bus_endpoint::start_thread() {
    // Signals are the business of the program's own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, thread_stack);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool started = pthread_create(&thread_, &attributes, thread_entry, this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (started) stage_ = stage::exchanges;
    return started;
}

void bus_endpoint::stop() {
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (stage_ == stage::idle) return;
        running_ = false;
        if (stage_ == stage::by_calls) {
            hide();
            exchange_->pause();
            stage_ = stage::idle;
            return;
        }
        if (stage_ == stage::polled && !flush_by_thread()) {
            hide();
            exchange_->close_all();
            stage_ = stage::idle;
            return;
        }
        exchange_->end_rows();
        stage_ = stage::flushes;
        exchange_->wake().set();
        (void)ended_.wait_for(lock, flush_limit, [this] { return stage_ == stage::abandoned; });
        stage_ = stage::abandoned;
        exchange_->wake().set();
    }
    pthread_join(thread_, nullptr);
    const guard lock(mutex_);
    stage_ = stage::idle;
    exchange_->close_all();
}

// Looking at the directory costs as much as sending a message: while messages move that is done now and then.
bool bus_endpoint::running() const {
    const guard lock(mutex_);
    const bool look = !std::exchange(moved_, false) || ++unlooked_ == look_interval;
    if (look) unlooked_ = 0;
    return running_ && (!look || !listener_ || registration_->visible());
}

bool bus_endpoint::receive(bus_message& message) {
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (stage_ == stage::by_calls && running_ && !listener_) running_ = listen();
        if (stage_ == stage::by_calls && running_ && !exchange_->has_received()) turn_by_call(lock, 0);
    }
    return take(message);
}

bool bus_endpoint::take(bus_message& message) {
    const guard lock(mutex_);
    const bool received = exchange_->receive(message);
    moved_ = moved_ || received;
    return received;
}

void bus_endpoint::wait(int limit_ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (stage_ == stage::by_calls && running_) return turn_by_call(lock, limit_ms);
    lock.unlock();
    (void)sys::wait_readable(descriptor(), limit_ms);
}

bool bus_endpoint::is_open(std::uint64_t connection) const {
    const guard lock(mutex_);
    return exchange_->connections().find(connection) != nullptr;
}

int bus_endpoint::peer_of(std::uint64_t connection) const {
    const guard lock(mutex_);
    const bus_connection* found = exchange_->connections().find(connection);
    return found ? found->peer() : -1;
}

bool bus_endpoint::has_sent_over(std::uint64_t connection) const {
    const guard lock(mutex_);
    const bus_connection* found = exchange_->connections().find(connection);
    return found && found->carried();
}

void bus_endpoint::settle(std::uint64_t connection) {
    const guard lock(mutex_);
    exchange_->settle(connection);
}

std::size_t bus_endpoint::unsent() const {
    const guard lock(mutex_);
    return exchange_->connections().unsent();
}

std::uint64_t bus_endpoint::transferred() const {
    const guard lock(mutex_);
    return exchange_->connections().transferred();
}

bus_result bus_endpoint::send(int destination, std::string_view text, std::uint64_t* connection, bool more) {
    if (connection) *connection = 0;
    if (text.size() > mbus_message_limit) return bus_result::too_long;
    const guard lock(mutex_);
    if (!running_ || destination < 0) return bus_result::not_served;
    moved_ = true;
    return sent(exchange_->send(destination, text, connection, more));
}

void bus_endpoint::end_rows() {
    const guard lock(mutex_);
    exchange_->end_rows();
}

bus_result bus_endpoint::send_over(std::uint64_t connection, std::string_view text) {
    if (text.size() > mbus_message_limit) return bus_result::too_long;
    const guard lock(mutex_);
    if (!running_) return bus_result::not_served;
    moved_ = true;
    return sent(exchange_->send_over(connection, text));
}

// What does not go out at once must not wait for the next call.
bus_result bus_endpoint::sent(bus_result result) {
    if (stage_ == stage::by_calls) (void)flush_by_thread();
    return result;
}

bool bus_endpoint::flush_by_thread() {
    if (exchange_->connections().unsent() == 0) return false;
    set_awaited(true);
    return start_thread();
}

void bus_endpoint::set_awaited(bool awaited) {
    exchange_->wake().set_awaited(awaited);
    exchange_->notice().set_awaited(awaited);
}

void* bus_endpoint::thread_entry(void* self) {
    (void)::prctl(PR_SET_NAME, "ravd:bus", 0, 0, 0);
    static_cast<bus_endpoint*>(self)->run();
    return nullptr;
}

void bus_endpoint::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    bool whole = true;
    while (whole && (stage_ == stage::exchanges || (stage_ == stage::flushes && exchange_->connections().unsent() > 0)))
        whole = turn(lock, -1);
    hide();
    running_ = false;
    stage_ = stage::abandoned;
    ended_.notify_one();
    exchange_->notice().clear();
    exchange_->notice().set();
}

void bus_endpoint::turn_by_call(std::unique_lock<std::mutex>& lock, int longest_ms, pollfd* beside) {
    if (turn(lock, longest_ms, beside)) return;
    hide();
    running_ = false;
}

int bus_endpoint::fill(std::vector<pollfd>& set) {
    const guard lock(mutex_);
    return stage_ == stage::polled && running_ ? prepare(set) : -1;
}

void bus_endpoint::serve(const pollfd* entries, std::size_t count) {
    const guard lock(mutex_);
    if (stage_ != stage::polled || !running_ || count == 0) return;
    move(entries, count);
}

bool bus_endpoint::wait_beside(int fd, int limit_ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    pollfd beside{fd, POLLIN, 0};
    if (stage_ != stage::polled || !running_) return false;
    const std::uint64_t received = exchange_->received();
    bus_event& wake = exchange_->wake();
    wake.clear();  // the turn looks at everything
    wake.set_awaited(true);
    turn_by_call(lock, limit_ms, &beside);
    wake.set_awaited(false);
    moved_ = moved_ || received != exchange_->received();
    return beside.revents != 0;
}

// The first two entries are for ourselves, the others for the connections.
int bus_endpoint::prepare(std::vector<pollfd>& set) {
    set.push_back({exchange_->wake().awaited() ? exchange_->wake().descriptor() : -1, POLLIN, 0});
    set.push_back({listener_rests_ ? -1 : listener_.get(), POLLIN, 0});
    const int wanted = exchange_->fill_poll_set(set, reads());
    still_.stands = wanted == bus_exchange::stall_limit_ms;
    if (!still_.stands || still_.bytes != exchange_->received())
        still_ = {still_.stands, monotonic_ms(), exchange_->received()};
    return listener_rests_ ? listener_rest_ms : wanted;
}

void bus_endpoint::move(const pollfd* entries, std::size_t count) {
    listener_rests_ = false;
    if (entries[0].revents) exchange_->wake().clear();
    exchange_->serve(entries + 2, count - 2, reads());
    if (entries[1].revents & POLLIN) listener_rests_ = !exchange_->accept_waiting();
    if (still_.stands && still_.bytes == exchange_->received() &&
        monotonic_ms() - still_.since_ms >= bus_exchange::stall_limit_ms)
        exchange_->end_stalled();
}

bool bus_endpoint::turn(std::unique_lock<std::mutex>& lock, int longest_ms, pollfd* beside) {
    if (!reads()) hide();
    poll_set_.clear();
    int limit = prepare(poll_set_);
    const std::size_t own = poll_set_.size();
    if (beside) poll_set_.push_back(*beside);
    if (longest_ms >= 0 && (limit < 0 || limit > longest_ms)) limit = longest_ms;
    const int look_us = stage_ == stage::by_calls ? short_look::answer_us : short_look::message_us;
    lock.unlock();
    const auto count = static_cast<nfds_t>(poll_set_.size());
    const int ready =
        longest_ms > 0 ? look_.poll(poll_set_.data(), count, limit, look_us) : ::poll(poll_set_.data(), count, limit);
    const int reason = errno;
    lock.lock();
    if (ready < 0) return reason == EINTR || reason == ENOMEM;
    if (beside) *beside = poll_set_.back();
    move(poll_set_.data(), own);
    return true;
}

void bus_endpoint::hide() {
    if (!listener_) return;
    exchange_->set_listener(-1);
    listener_.reset();
    registration_->hide();
}

}  // namespace ravd

#include "sim/service/wire.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace ravd::sim {
namespace {

constexpr std::size_t chunk_size = 64 * 1024;
constexpr std::uint8_t opcode_ping = 9;

bool would_block() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

// Sends the front of `buffer`. -1 on a real error, else the bytes taken.
ssize_t flush(int fd, std::string& buffer) {
    if (buffer.empty()) return 0;
    const ssize_t n = send(fd, buffer.data(), buffer.size(), MSG_NOSIGNAL);
    if (n < 0) return would_block() ? 0 : -1;
    buffer.erase(0, static_cast<std::size_t>(n));
    return n;
}

}  // namespace

wire::wire(event_loop& loop, unique_fd tcp, unique_fd engine, std::function<void()> moved)
    : loop_(loop), tcp_(std::move(tcp)), engine_(std::move(engine)), moved_(std::move(moved)) {
    loop_.watch(tcp_.get(), 0, [this](short events) { pump(events); });
    loop_.watch(engine_.get(), 0, [this](short) { pump(0); });
    follow();
}

wire::~wire() { end(); }

void wire::end() {
    if (finished_) return;
    loop_.forget(tcp_.get());
    loop_.forget(engine_.get());
    tcp_.reset();
    engine_.reset();
    finished_ = true;
}

void wire::follow() {
    if (finished_) return;
    short tcp_events = tcp_ended_ ? 0 : POLLRDHUP;
    if (reading_ && to_engine_.empty() && !tcp_ended_) tcp_events |= POLLIN;
    if (!to_tcp_.empty()) tcp_events |= POLLOUT;
    short engine_events = 0;  // without any its hang-up would be reported again and again
    if (to_tcp_.empty() && !engine_ended_) engine_events |= POLLIN;
    if (!to_engine_.empty()) engine_events |= POLLOUT;
    loop_.change(tcp_.get(), tcp_events);
    loop_.change(engine_.get(), engine_events);
}

void wire::set_reading(bool on) {
    reading_ = on;
    follow();
}

void wire::pump(short tcp_events) {
    if (finished_) return;
    bool moved = true;
    // Hang-up in both directions. What the agent sent before is still read, unless nobody wants to read it.
    if ((tcp_events & (POLLERR | POLLNVAL)) || (!reading_ && (tcp_events & (POLLHUP | POLLRDHUP)))) {
        end();
    } else {
        const bool in = pump_in();
        const bool out = !finished_ && pump_out();
        moved = in || out;
        if (!finished_ && tcp_ended_ && engine_ended_ && to_engine_.empty()) end();
    }
    follow();
    if (moved) moved_();
}

bool wire::pump_in() {
    bool moved = false;
    char chunk[chunk_size];
    while (reading_ && !tcp_ended_ && to_engine_.empty()) {
        const ssize_t n = recv(tcp_.get(), chunk, sizeof chunk, 0);
        if (n < 0 && would_block()) break;
        moved = true;
        if (n <= 0) {
            tcp_ended_ = true;
            if (n < 0) {
                end();
                return true;
            }
            break;
        }
        bytes_in_ += static_cast<std::uint64_t>(n);
        in_frames_.feed(chunk, static_cast<std::size_t>(n), to_engine_, [this](const frame_filter::frame& f) {
            if (f.opcode != opcode_ping) return true;
            ++pings_;
            return !mute_;
        });
        if (flush(engine_.get(), to_engine_) < 0) to_engine_.clear();
    }
    const ssize_t n = flush(engine_.get(), to_engine_);
    if (n < 0) to_engine_.clear();  // the engine has closed its side; its end arrives by pump_out
    if (n > 0) moved = true;
    if (tcp_ended_ && to_engine_.empty()) shutdown(engine_.get(), SHUT_WR);
    return moved;
}

bool wire::pump_out() {
    bool moved = false;
    char chunk[chunk_size];
    while (to_tcp_.empty()) {
        const ssize_t n = engine_ended_ ? 0 : recv(engine_.get(), chunk, sizeof chunk, 0);
        if (n < 0 && would_block()) {
            if (!inject_pending_ || !out_frames_.at_boundary()) break;
            to_tcp_.swap(inject_);
            inject_.clear();
            inject_pending_ = false;
        } else if (n <= 0) {
            if (!engine_ended_) {
                engine_ended_ = true;
                moved = true;
                shutdown(tcp_.get(), SHUT_WR);
            }
            break;
        } else {
            out_frames_.feed(chunk, static_cast<std::size_t>(n), to_tcp_,
                             [](const frame_filter::frame&) { return true; });
        }
        moved = true;
        const ssize_t sent = flush(tcp_.get(), to_tcp_);
        if (sent < 0) {
            end();
            return true;
        }
        bytes_out_ += static_cast<std::uint64_t>(sent);
    }
    const ssize_t sent = flush(tcp_.get(), to_tcp_);
    if (sent < 0) {
        end();
        return true;
    }
    if (sent > 0) {
        bytes_out_ += static_cast<std::uint64_t>(sent);
        moved = true;
    }
    return moved;
}

void wire::inject(std::string bytes) {
    inject_ = std::move(bytes);
    inject_pending_ = true;
}

void wire::drop() {
    if (finished_) return;
    // Linger of zero makes close() send a reset.
    const linger reset = {1, 0};
    setsockopt(tcp_.get(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    end();
    moved_();
}

}  // namespace ravd::sim

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
    short tcp_events = in_.ended ? 0 : POLLRDHUP;
    if (reading_ && in_.pending.empty() && !in_.ended) tcp_events |= POLLIN;
    if (!out_.pending.empty()) tcp_events |= POLLOUT;
    short engine_events = 0;  // without any its hang-up would be reported again and again
    if (out_.pending.empty() && !out_.ended) engine_events |= POLLIN;
    if (!in_.pending.empty()) engine_events |= POLLOUT;
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
        if (!finished_ && in_.ended && out_.ended && in_.pending.empty()) end();
    }
    follow();
    if (moved) moved_();
}

bool wire::pump_in() {
    bool moved = false;
    char chunk[chunk_size];
    while (reading_ && !in_.ended && in_.pending.empty()) {
        const ssize_t n = recv(tcp_.get(), chunk, sizeof chunk, 0);
        if (n < 0 && would_block()) break;
        moved = true;
        if (n <= 0) {
            in_.ended = true;
            if (n < 0) {
                end();
                return true;
            }
            break;
        }
        in_.bytes += static_cast<std::uint64_t>(n);
        in_.frames.feed(chunk, static_cast<std::size_t>(n), in_.pending, [this](const frame_filter::frame& f) {
            if (f.opcode != opcode_ping) return true;
            ++pings_;
            return !mute_;
        });
        if (flush(engine_.get(), in_.pending) < 0) in_.pending.clear();
    }
    const ssize_t n = flush(engine_.get(), in_.pending);
    if (n < 0) in_.pending.clear();  // the engine has closed its side; its end arrives by pump_out
    if (n > 0) moved = true;
    if (in_.ended && in_.pending.empty()) shutdown(engine_.get(), SHUT_WR);
    return moved;
}

bool wire::pump_out() {
    bool moved = false;
    char chunk[chunk_size];
    while (out_.pending.empty()) {
        const ssize_t n = out_.ended ? 0 : recv(engine_.get(), chunk, sizeof chunk, 0);
        if (n < 0 && would_block()) {
            if (!inject_ || !out_.frames.at_boundary()) break;
            out_.pending = *std::exchange(inject_, std::nullopt);
        } else if (n <= 0) {
            if (!out_.ended) {
                out_.ended = true;
                moved = true;
                shutdown(tcp_.get(), SHUT_WR);
            }
            break;
        } else {
            out_.frames.feed(chunk, static_cast<std::size_t>(n), out_.pending,
                             [](const frame_filter::frame&) { return true; });
        }
        moved = true;
        const ssize_t sent = flush(tcp_.get(), out_.pending);
        if (sent < 0) {
            end();
            return true;
        }
        out_.bytes += static_cast<std::uint64_t>(sent);
    }
    const ssize_t sent = flush(tcp_.get(), out_.pending);
    if (sent < 0) {
        end();
        return true;
    }
    if (sent > 0) {
        out_.bytes += static_cast<std::uint64_t>(sent);
        moved = true;
    }
    return moved;
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

#include "platform/portable/bus_connection.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace ravd {
namespace {

// Small frames are joined up to this size, so that a backlog of many costs neither memory nor calls.
constexpr std::size_t piece_size = 64u * 1024;

// Bytes taken by the socket; 0 when it takes none now, -1 when the other end is gone.
ssize_t write_some(int fd, iovec* parts, std::size_t count) {
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
    for (;;) {
        const ssize_t n = ::sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0) return n;
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS || errno == ENOMEM) return 0;
        if (errno != EINTR) return -1;
    }
}

}  // namespace

bool bus_piece::add(std::string_view head, std::string_view payload) {
    const std::size_t wanted = size_ + head.size() + payload.size();
    if (wanted > room_) {
        const std::size_t room = std::max(wanted, std::min(2 * room_, piece_size));
        void* grown = std::realloc(block_.get(), room);
        if (!grown) return false;
        (void)block_.release();
        block_.reset(static_cast<unsigned char*>(grown));
        room_ = room;
    }
    char* end = reinterpret_cast<char*>(bytes()) + size_;
    head.copy(end, head.size());
    payload.copy(end + head.size(), payload.size());
    size_ = wanted;
    return true;
}

bus_connection::bus_connection(std::uint64_t id, unique_fd socket, int peer, bool dialled)
    : id_(id), socket_(std::move(socket)), peer_(peer), dialled_(dialled) {}

std::size_t bus_connection::unread() const {
    int bytes = 0;
    return ::ioctl(fd(), FIONREAD, &bytes) == 0 && bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
}

void bus_connection::fail() {
    write_failed_ = true;
    output_.clear();
    front_done_ = 0;
    backlog_ = 0;
    kept_back_ = false;
}

// False without memory: what cannot be kept whole is not begun.
bool bus_connection::keep(std::string_view head, std::string_view payload) {
    const std::size_t whole = head.size() + payload.size();
    if (!output_.empty() && output_.back().size() + whole <= piece_size) {
        if (!output_.back().add(head, payload)) return false;
    } else {
        bus_piece piece;
        if (!piece.add(head, payload)) return false;
        output_.push_back(std::move(piece));
    }
    backlog_ += whole;
    return true;
}

bus_result bus_connection::write(const bus_frame_header& header, std::string_view payload, bool more) {
    const std::size_t head_size = hello_due_ ? 2 * mbus_header_size : mbus_header_size;
    const std::size_t whole = head_size + payload.size();
    if (write_failed_) return bus_result::not_served;
    if (whole > backlog_limit - backlog_) return bus_result::full;
    unsigned char head[2 * mbus_header_size];
    if (hello_due_) encode_bus_header({header.source, header.destination, 0, bus_frame_kind::hello}, head);
    encode_bus_header(header, head + head_size - mbus_header_size);
    hello_due_ = false;
    const bool free = output_.empty() && held_by_ == 0;
    const bool keeps_back = free && more && in_row_;
    in_row_ = more;
    std::size_t done = 0;
    if (free && !keeps_back) {
        iovec parts[2] = {{head, head_size}, {const_cast<char*>(payload.data()), payload.size()}};
        const ssize_t n = write_some(fd(), parts, 2);
        if (n < 0) {
            fail();
            return bus_result::not_served;
        }
        done = static_cast<std::size_t>(n);
        transferred_ += done;
    }
    if (header.kind == bus_frame_kind::message) {
        carried_ = true;
        settled_ = paused_ = false;
        ++owed_;
    }
    if (done == whole) return bus_result::accepted;
    const std::size_t head_done = std::min(done, head_size);
    const std::string_view head_left{reinterpret_cast<const char*>(head) + head_done, head_size - head_done};
    if (!keep(head_left, payload.substr(done - head_done))) {
        if (done > 0) fail();  // nothing may follow half a frame
        return bus_result::full;
    }
    kept_back_ = kept_back_ || keeps_back;
    if (kept_back_ && (!more || backlog_ >= piece_size)) flush();
    return write_failed_ ? bus_result::not_served : bus_result::accepted;
}

void bus_connection::end_row() {
    in_row_ = false;
    if (kept_back_) flush();
}

void bus_connection::flush() {
    kept_back_ = false;
    while (!output_.empty()) {
        const bus_piece& front = output_.front();
        iovec part{front.bytes() + front_done_, front.size() - front_done_};
        const ssize_t n = write_some(fd(), &part, 1);
        if (n < 0) return fail();
        if (n == 0) return;
        front_done_ += static_cast<std::size_t>(n);
        backlog_ -= static_cast<std::size_t>(n);
        transferred_ += static_cast<std::size_t>(n);
        if (front_done_ < front.size()) continue;
        output_.pop_front();
        front_done_ = 0;
    }
}

bool bus_connection::settled() const {
    return settled_ && reader_.held() == 0 && backlog_ == 0 && !write_failed_ && !ended_;
}

bool bus_connection::drained() const {
    int unread = 0;
    if (write_failed_) return true;
    if (!output_.empty()) return false;
    return ::ioctl(fd(), SIOCOUTQ, &unread) != 0 || unread == 0;
}

}  // namespace ravd

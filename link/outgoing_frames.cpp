#include "link/outgoing_frames.h"

#include <libwebsockets.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "core/dump.h"
#include "core/logger.h"
#include "core/safe_queue.h"
#include "core/worker.h"

namespace ravd {
namespace {

constexpr int drain_limit = 64;

// Keeps the kernel from sending each of several small frames in a packet of its own, until the object ends.
class joined_packets {
  public:
    explicit joined_packets(lws* wsi) : socket_(lws_get_socket_fd(wsi)) {}
    joined_packets(const joined_packets&) = delete;
    joined_packets& operator=(const joined_packets&) = delete;
    ~joined_packets() {
        if (writes_ > 1) cork(0);
    }
    // Before each frame. The first goes out at once: mostly it is the only one.
    void begin_frame() {
        if (++writes_ == 2) cork(1);
    }

  private:
    void cork(int on) const { setsockopt(socket_, IPPROTO_TCP, TCP_CORK, &on, sizeof on); }

    int socket_;
    int writes_ = 0;
};

}  // namespace

// A copy of one message with the room before it that the library wants: the payload is masked in place.
class outgoing_frames::frame {
  public:
    // In `room` when it fits there. A null `data` stands for zeros.
    frame(unsigned char* room, std::size_t room_size, const char* data, std::size_t len) : size_(len) {
        if (len > SIZE_MAX - LWS_PRE) return;
        if (len + LWS_PRE > room_size) {
            allocated_.reset(static_cast<unsigned char*>(std::malloc(len + LWS_PRE)));
            room = allocated_.get();
            if (!room) return;
        }
        std::memset(room, 0, data ? LWS_PRE : LWS_PRE + len);
        payload_ = room + LWS_PRE;
        if (data) std::memcpy(payload_, data, len);
    }
    // Null when memory ran out.
    unsigned char* payload() const { return payload_; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<unsigned char, decltype(&std::free)> allocated_{nullptr, &std::free};
    unsigned char* payload_ = nullptr;
    std::size_t size_;
};

outgoing_frames::outgoing_frames(safe_queue& input, abstract_worker& worker, const char* name, internal_handler handler)
    : input_(input), name_(name), handle_internal_(std::move(handler)) {
    input_.set_notify([this, &worker] {
        if (!wake_pending_.exchange(true)) worker.wake();
    });
}

outgoing_frames::~outgoing_frames() { input_.set_notify({}); }

bool outgoing_frames::drain(lws* wsi) {
    joined_packets packets(wsi);
    wake_pending_ = false;  // before the first pop: what comes after the last one wakes again
    for (int count = 0; count < drain_limit && !lws_partial_buffered(wsi); ++count) {
        const bool popped = input_.pop([this, wsi, &packets](std::shared_ptr<buffer_info_t> buffer) {
            log_debug(process_log, "%s->From queue\n", name_);
            dump_buffer(*buffer);
            if (handle_internal_(*buffer)) return;
            packets.begin_frame();
            const frame copy(room_, sizeof room_, buffer->data, buffer->size);
            buffer.reset();  // before the library keeps what the socket does not take: a large one is held twice, not
                             // thrice
            write(wsi, copy, LWS_WRITE_TEXT);
        });
        if (!popped) return false;
    }
    return input_.size() > 0;
}

bool outgoing_frames::take(std::size_t& lost) {
    return input_.pop([this, &lost](const std::shared_ptr<buffer_info_t>& buffer) {
        log_debug(process_log, "%s->From queue\n", name_);
        dump_buffer(*buffer);
        if (!handle_internal_(*buffer)) ++lost;
    });
}

bool outgoing_frames::take_one() {
    wake_pending_ = false;
    std::size_t lost = 0;
    return take(lost);
}

std::size_t outgoing_frames::drop_all() {
    std::size_t lost = 0;
    for (std::size_t left = input_.size(); left > 0 && take(lost); --left) {
    }
    return lost;
}

int outgoing_frames::lws_send(lws* wsi, const char* data, std::size_t len, int type) {
    return write(wsi, frame(room_, sizeof room_, data, len), type);
}

int outgoing_frames::write(lws* wsi, const frame& what, int type) {
    if (!what.payload()) return -1;
    const std::size_t len = what.size();
    const int n = lws_write(wsi, what.payload(), len, static_cast<lws_write_protocol>(type));
    if (n < 0) {
        log_error(process_log, "%s->%s:Can't send msg type [%d] to websocket\n", name_, "lws_send", type);
    } else if (type != LWS_WRITE_PING) {
        ++sent_messages_;
        sent_bytes_ += len;
        log_info(process_log, "%s->%s:Send msg type [%d] len [%d/%d]  to websocket\n", name_, "lws_send", type, n,
                 static_cast<int>(len));
    }
    return n;
}

}  // namespace ravd

// What libwebsockets reports, and the two ways of a message: received into the output queue, sent from the input queue.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>

#include "core/dump.h"
#include "core/logger.h"
#include "link/library.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::uint32_t missed_pong_limit = 3;
constexpr std::int64_t ping_interval_s = 30;

// Messages sent by one callback; the next pass goes on.
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

int websock_worker::on_lws_event(lws* wsi, int reason, void*, void* in, std::size_t len) {
    if (missed_pongs_ >= missed_pong_limit) {
        log_debug(process_log, "%s->There are no %d pong answer in a row from server\n", name(),
                  static_cast<int>(missed_pongs_));
        missed_pongs_ = 0;
        alive_ = false;
    }
    switch (reason) {
        case LWS_CALLBACK_CLIENT_CONNECTION_ERROR:
            process_client_connection_error();
            break;
        case LWS_CALLBACK_CLIENT_ESTABLISHED:
            process_client_established(wsi);
            break;
        case LWS_CALLBACK_CLOSED:
        case LWS_CALLBACK_CLOSED_HTTP:
        case LWS_CALLBACK_CLIENT_CLOSED:
        case LWS_CALLBACK_CLOSED_CLIENT_HTTP:
            process_closed();
            break;
        case LWS_CALLBACK_CLIENT_RECEIVE:
            process_client_receive(wsi, static_cast<const char*>(in), len);
            break;
        case LWS_CALLBACK_CLIENT_RECEIVE_PONG:
            missed_pongs_ = 0;
            break;
        case LWS_CALLBACK_CLIENT_WRITEABLE:
            process_client_writeable(wsi);
            break;
        case LWS_CALLBACK_PROTOCOL_DESTROY:
            log_debug(process_log, "%s->%s:%d\n", name(), "process_protocol_destroy", __LINE__);
            break;
        case LWS_CALLBACK_WSI_DESTROY:
            if (wsi == wsi_) wsi_ = nullptr;
            break;
        default:
            break;
    }
    return 0;
}

void websock_worker::process_client_connection_error() {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_client_connection_error", __LINE__);
    alive_ = false;
    wsi_ = nullptr;
}

void websock_worker::process_closed() {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_closed", __LINE__);
    alive_ = false;
    wsi_ = nullptr;
}

void websock_worker::process_client_established(lws* wsi) {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_client_established", __LINE__);
    data_moved_ = true;
    wsi_ = wsi;
    wake_pending_ = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        established_ = true;
    }
    input_.set_notify([this] { wake(); });
    log_debug(process_log, "Connection established - reset connection delay\n");
    current_delay_ = initial_delay_;
    send_link_status(true);
    last_ping_ = sys::monotonic_now();
    lws_callback_on_writable(wsi);
    arm_ping_timeout();
}

void websock_worker::process_client_receive(lws* wsi, const char* in, std::size_t len) {
    constexpr const char* place = "process_client_receive";
    log_debug(process_log, "%s->%s:%d\n", name(), place, __LINE__);
    data_moved_ = true;
    const std::size_t remaining = lws_remaining_packet_payload(wsi);
    const bool final = lws_is_final_fragment(wsi) != 0;
    if (remaining > 0 || !final) {
        log_debug(process_log, "%s->%s: Get incomplete packet, beginning len %d, remaining len %d\n", name(), place,
                  static_cast<int>(len), static_cast<int>(remaining));
        keep_fragment(in, len, false);
        return;
    }
    if (!in) {
        log_debug(process_log, "%s: Bad Input data\n", place);
        return;
    }
    if (keep_fragment(in, len, true)) {
        log_debug(process_log, "%s->%s: Recieve final msg len %d from websocket\n", name(), place,
                  static_cast<int>(rx_buffer_->size));
        log_debug(process_log, "%s->Send to Queue\n", name());
        dump_buffer(*rx_buffer_);
        // A message never overtakes the status that its link is up.
        if (!flush_link_status() || !output_.push(rx_buffer_))
            log_warning(process_log, "%s->%s: queue is full, message of %u bytes is lost\n", name(), place,
                        rx_buffer_->size);
    }
    rx_buffer_ = make_buffer();
    rx_skipping_ = false;
}

// Adds a piece to the message. False when the message cannot be kept; what follows of it is then skipped.
bool websock_worker::keep_fragment(const char* in, std::size_t len, bool final) {
    if (rx_skipping_) return false;
    if (len > received_message_limit - rx_buffer_->size) {
        log_warning(process_log, "%s->%s: a message of more than %u bytes is skipped\n", name(),
                    "process_client_receive", static_cast<unsigned>(received_message_limit));
    } else if (rx_buffer_->append(in, len) || (len == 0 && !final)) {
        return true;
    } else {
        log_error(process_log, "%s->%s: can't receive message\n", name(), "process_client_receive");
    }
    rx_buffer_ = make_buffer();
    rx_skipping_ = true;
    return false;
}

void websock_worker::process_client_writeable(lws* wsi) {
    const timespec now = sys::monotonic_now();
    if (established_ && now.tv_sec - last_ping_.tv_sec >= ping_interval_s && !lws_partial_buffered(wsi)) {
        last_ping_ = now;
        if (lws_send(wsi, nullptr, 0, LWS_WRITE_PING) > 0) ++missed_pongs_;
        lws_callback_on_writable(wsi);
        arm_ping_timeout();
    }
    drain_input(wsi);
    lws_callback_on_writable(wsi);
}

// Messages stay in the queue while earlier output is pending: so each keeps its place, internal commands too.
void websock_worker::drain_input(lws* wsi) {
    joined_packets packets(wsi);
    wake_pending_ = false;  // before the first pop: what comes after the last one wakes again
    for (int count = 0; count < drain_limit && !lws_partial_buffered(wsi); ++count) {
        const bool popped = input_.pop([this, wsi, &packets](const std::shared_ptr<buffer_info_t>& buffer) {
            log_debug(process_log, "%s->From queue\n", name());
            dump_buffer(*buffer);
            if (handle_internal(*buffer)) return;
            packets.begin_frame();
            lws_send(wsi, buffer->data, buffer->size, LWS_WRITE_TEXT);
        });
        if (!popped) return;
        data_moved_ = true;
        progress().tick();
    }
}

int websock_worker::lws_send(lws* wsi, const char* data, std::size_t len, int type) {
    if (len > SIZE_MAX - LWS_PRE) return -1;
    const std::unique_ptr<unsigned char, decltype(&std::free)> frame(
        static_cast<unsigned char*>(std::malloc(len + LWS_PRE)), &std::free);
    if (!frame) return -1;
    std::memset(frame.get(), 0, data ? LWS_PRE : LWS_PRE + len);
    // A copy, because the payload is masked in place.
    if (data) std::memcpy(frame.get() + LWS_PRE, data, len);
    const int n = lws_write(wsi, frame.get() + LWS_PRE, len, static_cast<lws_write_protocol>(type));
    if (n < 0) {
        log_error(process_log, "%s->%s:Can't send msg type [%d] to websocket\n", name(), "lws_send", type);
    } else if (type != LWS_WRITE_PING) {
        log_info(process_log, "%s->%s:Send msg type [%d] len [%d/%d]  to websocket\n", name(), "lws_send", type, n,
                 static_cast<int>(len));
    }
    return n;
}

}  // namespace ravd

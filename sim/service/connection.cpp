#include "sim/service/connection.h"

#include <libwebsockets.h>

#include <algorithm>
#include <utility>

namespace ravd::sim {
namespace {

constexpr std::size_t kept_capacity = 256 * 1024;
constexpr std::int64_t linger_ms = 2000;
constexpr std::size_t close_reason_limit = 123;

int frame_type(outgoing::kind kind) {
    switch (kind) {
        case outgoing::kind::binary:
            return LWS_WRITE_BINARY;
        case outgoing::kind::ping:
            return LWS_WRITE_PING;
        case outgoing::kind::first:
            return LWS_WRITE_TEXT | LWS_WRITE_NO_FIN;
        case outgoing::kind::middle:
            return LWS_WRITE_CONTINUATION | LWS_WRITE_NO_FIN;
        case outgoing::kind::last:
            return LWS_WRITE_CONTINUATION;
        default:
            return LWS_WRITE_TEXT;
    }
}

}  // namespace

connection::connection(server_listener& listener, unsigned number, std::string peer, event_loop& loop, unique_fd tcp,
                       unique_fd near, std::function<void()> stirred)
    : listener_(listener),
      number_(number),
      peer_(std::move(peer)),
      stirred_(std::move(stirred)),
      relay_(loop, std::move(tcp), std::move(near), stirred_) {}

connection::~connection() {
    if (wsi_) lws_set_opaque_user_data(wsi_, nullptr);
}

bool connection::send(outgoing item) {
    if (!open_ || !wsi_) return false;
    if (item.bytes.size() > output_limit - std::min(counts_.queued, output_limit)) return false;
    counts_.queued += item.bytes.size();
    output_.push_back(std::move(item));
    lws_callback_on_writable(wsi_);
    stirred_();
    return true;
}

bool connection::drop() {
    if (!open_) return false;
    close_reason_ = "dropped with a reset";
    relay_.drop();
    return true;
}

link_statistics connection::statistics() const {
    link_statistics all = counts_;
    all.wire_in = relay_.bytes_in();
    all.wire_out = relay_.bytes_out();
    all.pings = relay_.pings();
    all.mute = relay_.mute();
    all.reading = relay_.reading();
    return all;
}

bool connection::finished(std::int64_t now_ms) {
    if (!relay_.finished() && relay_.engine_ended()) {
        if (engine_ended_ms_ == 0) engine_ended_ms_ = now_ms;
        if (now_ms - engine_ended_ms_ > linger_ms) relay_.drop();
    }
    // The engine learns of the end of its socket in one of the next turns and reports it.
    return relay_.finished() && !wsi_;
}

void connection::on_open(const std::string& sub_protocol, const std::string& path) {
    open_ = true;
    listener_.link_opened(number_, peer_, sub_protocol, path);
}

void connection::on_receive(std::string_view piece, bool final, bool binary) {
    if (!oversized_ && piece.size() > message_limit - received_.size()) {
        oversized_ = true;
        received_.clear();
        received_.shrink_to_fit();
        listener_.link_trouble(
            number_, "a message of more than " + std::to_string(message_limit) + " bytes; the rest of it is skipped");
    }
    if (!oversized_) received_.append(piece);
    if (!final) return;
    if (!oversized_) {
        ++counts_.messages_in;
        counts_.payload_in += received_.size();
        listener_.message_received(number_, received_, binary);
    }
    oversized_ = false;
    received_.clear();
    if (received_.capacity() > kept_capacity) received_.shrink_to_fit();
}

int connection::on_writable() {
    // Writing behind a partial write would leave the frame header out.
    if (output_.empty() || relay_.injecting() || lws_partial_buffered(wsi_)) {
        if (!output_.empty()) lws_callback_on_writable(wsi_);
        return 0;
    }
    outgoing item = std::move(output_.front());
    output_.pop_front();
    counts_.queued -= item.bytes.size();
    if (item.what == outgoing::kind::close) {
        lws_close_reason(wsi_, static_cast<lws_close_status>(item.close_code),
                         reinterpret_cast<unsigned char*>(&item.bytes[0]),
                         std::min(item.bytes.size(), close_reason_limit));
        close_reason_ = "closed by the service with code " + std::to_string(item.close_code);
        return -1;
    }
    if (item.what == outgoing::kind::raw) {
        relay_.inject(std::move(item.bytes));
        relay_.pump(0);
    } else if (write_message(std::move(item)) < 0) {
        return -1;
    }
    if (!output_.empty()) lws_callback_on_writable(wsi_);
    stirred_();
    return 0;
}

int connection::write_message(outgoing item) {
    const int type = frame_type(item.what);
    const std::size_t size = item.bytes.size();
    item.bytes.insert(0, LWS_PRE, '\0');
    if (lws_write(wsi_, reinterpret_cast<unsigned char*>(&item.bytes[LWS_PRE]), size,
                  static_cast<lws_write_protocol>(type)) < 0)
        return -1;
    if (type == LWS_WRITE_PING) return 0;
    if (!(type & LWS_WRITE_NO_FIN)) ++counts_.messages_out;
    counts_.payload_out += size;
    return 0;
}

void connection::on_closed() {
    if (!open_) return;
    open_ = false;
    output_.clear();
    counts_.queued = 0;
    listener_.link_closed(number_, close_reason_);
}

}  // namespace ravd::sim

// What libwebsockets reports.

#include <libwebsockets.h>

#include "core/dump.h"
#include "core/logger.h"
#include "link/internal_message.h"
#include "link/websock_worker.h"

namespace ravd {
namespace {

constexpr std::int64_t ping_timeout_s = 60;

}  // namespace

int websock_worker::on_lws_event(lws* wsi, int reason, void*, void* in, std::size_t len) {
    if (const std::uint32_t missed = keep_alive_.take_missed()) {
        log_debug(process_log, "%s->There are no %d pong answer in a row from server\n", name(),
                  static_cast<int>(missed));
        outage_.note("pings are not answered");
        life_.alive = false;
    }
    switch (reason) {
        case LWS_CALLBACK_CLIENT_CONNECTION_ERROR:
            process_client_connection_error(static_cast<const char*>(in), len);
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
            keep_alive_.on_pong();
            break;
        case LWS_CALLBACK_CLIENT_WRITEABLE:
            process_client_writeable(wsi);
            break;
        case LWS_CALLBACK_RAW_RX_FILE:
            connection::take_signal(wsi);
            // Mostly the socket takes it, and to be told so first would cost another turn.
            if (connection_.established() && !connection_.output_pending())
                process_client_writeable(connection_.established());
            break;
        case LWS_CALLBACK_PROTOCOL_DESTROY:
            log_debug(process_log, "%s->%s:%d\n", name(), "process_protocol_destroy", __LINE__);
            break;
        case LWS_CALLBACK_WSI_DESTROY:
            if (wsi == connection_.established()) connection_.set_established(nullptr);
            break;
        default:
            break;
    }
    return 0;
}

void websock_worker::process_client_connection_error(const char* reason, std::size_t len) {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_client_connection_error", __LINE__);
    if (life_.alive) note_failure(reason && len > 0 ? std::string_view(reason, len) : "the connection failed");
    life_.alive = false;
    connection_.set_established(nullptr);
}

void websock_worker::process_closed() {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_closed", __LINE__);
    if (life_.alive && life_.established) outage_.note("the connection was closed");
    if (life_.alive && !life_.established) note_failure("no websocket handshake");
    life_.alive = false;
    connection_.set_established(nullptr);
}

void websock_worker::process_client_established(lws* wsi) {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_client_established", __LINE__);
    connection_.set_established(wsi);
    life_.established = true;
    record_.begin_link(now_s());
    log_debug(process_log, "Connection established - reset connection delay\n");
    outage_.link_up(address_);
    resolver_.works();
    backoff_.reset();
    if (agent_mode_) record_.dropped(0, outgoing_.drop_all());  // a new link begins with the subscription
    send_link_status(true);
    keep_alive_.restart();
    connection_.ask_to_write();
    arm_ping_timeout();
}

void websock_worker::process_client_receive(lws* wsi, const char* in, std::size_t len) {
    constexpr const char* place = "process_client_receive";
    log_debug(process_log, "%s->%s:%d\n", name(), place, __LINE__);
    const auto whole = incoming_.add(in, len, lws_remaining_packet_payload(wsi), lws_is_final_fragment(wsi) != 0);
    if (!whole) return;
    log_debug(process_log, "%s->Send to Queue\n", name());
    dump_buffer(*whole);
    record_.received(whole->size);
    memory_.used();
    if (status_.push(whole)) return;
    record_.lost_for_full_queue();
    log_warning(process_log, "%s->%s: queue is full, message of %u bytes is lost\n", name(), place, whole->size);
}

void websock_worker::process_client_writeable(lws* wsi) {
    if (life_.established && keep_alive_.is_due() && !connection_.output_pending()) {
        keep_alive_.restart();
        if (outgoing_.lws_send(wsi, nullptr, 0, LWS_WRITE_PING) > 0) keep_alive_.count_ping();
        lws_callback_on_writable(wsi);
        arm_ping_timeout();
    }
    memory_.used();
    if (outgoing_.drain(wsi)) lws_callback_on_writable(wsi);
}

void websock_worker::arm_ping_timeout() {
    remove_timers(ping_timer);
    add_timer([this] { ping_timeout(); }, ping_timer, ping_timeout_s);
}

void websock_worker::ping_timeout() {
    log_debug(process_log, "%s->%s:%d\n", name(), "ping_timeout", __LINE__);
    outage_.note("nothing could be sent for 60 s");
    life_.alive = false;
}

bool websock_worker::handle_internal(const buffer_info_t& buffer) {
    switch (read_internal(buffer)) {
        case internal_command::none:
            return false;
        case internal_command::status:
            status_.answer(life_.established);
            break;
        case internal_command::unlink:
            process_internal_unlink();
            break;
        case internal_command::other:
            break;
    }
    return true;
}

void websock_worker::process_internal_unlink() {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_internal_unlink", __LINE__);
    life_.alive = false;
    life_.unlinked = true;
}

}  // namespace ravd

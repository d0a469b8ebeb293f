// From the back-off to a started connection.

#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/dump.h"
#include "core/logger.h"
#include "link/library.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::uint32_t wait_step_us = 100000;
constexpr std::int64_t resolve_limit_s = 10;
constexpr std::uint32_t connect_limit_s = 20;  // for the connection and the handshake together

// Descriptors of one context: the socket, the library's wake-up, and room. Its tables grow with this number.
constexpr unsigned int descriptor_limit = 8;

// Received bytes come in pieces of at most this size, sent ones leave in them. The first buffer is allocated, the
// second is not.
constexpr unsigned int receive_piece = 16 * 1024;
constexpr std::size_t send_piece = 64 * 1024;

void hook_roaming(int level, const char* line) {
    log_debug(process_log, "portal->libwebsocket-debug> %d: %s", level, line);
}

void hook_corvane(int level, const char* line) {
    log_debug(process_log, "rrm->libwebsocket-debug> %d: %s", level, line);
}

}  // namespace

bool websock_worker::init() {
    run_timers();
    send_link_status(false);
    wait_before_connect();
    std::string address;
    if (progress().cancelled() || unlinked_ || !resolve_host(address)) return false;
    return connect(address);
}

void websock_worker::wait_before_connect() {
    std::uint32_t span = current_delay_;
    if (span == 0) {
        current_delay_ = 1;
        span = 2;
    }
    current_delay_ *= 2;  // at most 2,000,000
    if (max_delay_ < current_delay_) current_delay_ = max_delay_;
    const std::uint32_t half = span / 2;
    log_debug(process_log, "Generate delay into [%u;%u) range\n", half, span + half);
    const std::uint32_t delay = static_cast<std::uint32_t>(std::rand()) % span + half;
    log_debug(process_log, "Delay before connection: %d sec\n", static_cast<int>(delay));

    const std::int64_t deadline = now_s() + delay;
    do {
        sys::sleep_us(wait_step_us);
        if (progress().cancelled()) return;
        serve_while_waiting();
    } while (now_s() < deadline);
}

// Answers one internal message; without a link there is nowhere to send others.
void websock_worker::serve_while_waiting() {
    flush_link_status();
    input_.pop([this](const std::shared_ptr<buffer_info_t>& buffer) {
        log_debug(process_log, "%s->From queue\n", name());
        dump_buffer(*buffer);
        handle_internal(*buffer);
    });
}

bool websock_worker::resolve_host(std::string& address) {
    if (!host_.empty() && resolver_.start()) {
        const std::int64_t deadline = now_s() + resolve_limit_s;
        while (!resolver_.wait(static_cast<int>(wait_step_us / 1000))) {
            if (progress().cancelled()) return false;
            serve_while_waiting();
            if (now_s() >= deadline) {
                log_debug(process_log, "%s->No answer about the address of %s\n", name(), host_.c_str());
                return false;
            }
        }
        address = resolver_.take();
    }
    if (address.empty()) log_debug(process_log, "%s->No address of %s\n", name(), host_.c_str());
    return !address.empty();
}

bool websock_worker::connect(const std::string& address) {
    lws_context* failed = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (unlinked_) return false;
        current_lws_callback = [this](lws* wsi, int reason, void* user, void* in, std::size_t len) {
            return on_lws_event(wsi, reason, user, in, len);
        };
        fill_context_info();
        alive_ = true;
        // Without debug output libwebsockets need not format what the hook would drop.
        constexpr int levels =
            LLL_ERR | LLL_WARN | LLL_INFO | LLL_DEBUG | LLL_PARSER | LLL_HEADER | LLL_EXT | LLL_CLIENT | LLL_LATENCY;
        lws_set_log_level(debug_enabled() ? levels : 0, mode_ == roaming_mode ? hook_roaming : hook_corvane);
        context_ = lws_create_context(&library_->context_info);
        if (!context_) {
            log_error(process_log, "%s->Creating libwebsocket context failed\n", name());
            current_lws_callback = nullptr;
            return false;
        }
        fill_connect_info(address);
        log_debug(process_log, "%s-> %s: Try to establish connect with server %s:%d%s\n", name(), "_connect",
                  host_.c_str(), static_cast<int>(port_), path_.c_str());
        connect_deadline_s_ = now_s() + connect_limit_s;
        if (lws_client_connect_via_info(&library_->connect_info)) {
            log_debug(process_log, "%s->Connected\n", name());
            return true;
        }
        failed = std::exchange(context_, nullptr);
    }
    destroy_context(failed);  // outside the lock, because it calls back
    current_lws_callback = nullptr;
    return false;
}

void websock_worker::fill_context_info() {
    library& records = *library_;
    std::memset(&records, 0, sizeof records);
    lws_protocols& protocol = records.protocols[0];
    protocol.name = name();
    protocol.callback = lws_dispatch;
    protocol.user = this;
    protocol.tx_packet_size = send_piece;

    lws_context_creation_info& info = records.context_info;
    info.port = CONTEXT_PORT_NO_LISTEN;
    info.protocols = records.protocols;
    info.gid = -1;
    info.uid = -1;
    info.fd_limit_per_thread = descriptor_limit;
    info.pt_serv_buf_size = receive_piece;
    info.timeout_secs = connect_limit_s;
    info.connect_timeout_secs = connect_limit_s;
    // Else a proxy named in the environment would be looked up, on this thread, and used.
    info.http_proxy_address = "";
}

// The service's name goes into the request, its numeric address to the socket.
void websock_worker::fill_connect_info(const std::string& address) {
    lws_client_connect_info& info = library_->connect_info;
    info.context = context_;
    info.address = address.c_str();
    info.port = static_cast<int>(port_);
    info.ssl_connection = LCCSCF_HTTP_NO_FOLLOW_REDIRECT;  // nobody may send the access point elsewhere
    info.path = path_.c_str();
    info.host = host_.c_str();
    info.origin = host_.c_str();
    info.protocol = name();
    info.ietf_version_or_minus_one = -1;
}

}  // namespace ravd

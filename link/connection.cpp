#include "link/connection.h"

#include <fcntl.h>
#include <libwebsockets.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "core/logger.h"

namespace ravd {
namespace {

// Descriptors of one context: the socket, ours and the library's wake-ups, and room. Its tables grow with this number.
constexpr unsigned int descriptor_limit = 8;

// Received bytes come in pieces of at most this size, sent ones leave in them. The first buffer is allocated, the
// second is not.
constexpr unsigned int receive_piece = 16 * 1024;
constexpr std::size_t send_piece = 64 * 1024;

void end_of_wait(lws_sorted_usec_list_t*) {}

// The protocol callback given to libwebsockets.
int lws_dispatch(lws* wsi, lws_callback_reasons reason, void* user, void* in, std::size_t len) {
    if (current_lws_callback) return current_lws_callback(wsi, reason, user, in, len);
    log_warning(process_log, "trying to call empty lws callback\n");
    return 0;
}

}  // namespace

lws_callback current_lws_callback;

// Rebuilt at every connect, but for the list entry of the wait.
struct connection::library {
    lws_context_creation_info context_info;
    lws_client_connect_info connect_info;
    lws_protocols protocols[2];         // ours, then the terminator
    lws_sorted_usec_list_t wait_limit;  // ends lws_service(), which ignores its timeout
};

connection::connection(const char* name, void (*log_hook)(int level, const char* line))
    : name_(name), log_hook_(log_hook), library_(std::make_unique<library>()) {}

connection::~connection() { close(); }

bool connection::open(const link_target& target, const std::string& address, int wake_fd, lws_callback on_event) {
    if (target.tls.enabled && !tls_.load(target.tls, target.host)) return false;
    current_lws_callback = std::move(on_event);
    fill_context_info(target.tls.enabled);
    // Without debug output libwebsockets need not format what the hook would drop.
    constexpr int levels =
        LLL_ERR | LLL_WARN | LLL_INFO | LLL_DEBUG | LLL_PARSER | LLL_HEADER | LLL_EXT | LLL_CLIENT | LLL_LATENCY;
    lws_set_log_level(debug_enabled() ? levels : 0, log_hook_);
    context_ = lws_create_context(&library_->context_info);
    if (!context_ || !adopt_signal(wake_fd)) {
        log_error(process_log, "%s->Creating libwebsocket context failed\n", name_);
        close();
        return false;
    }
    fill_connect_info(target, address);
    log_debug(process_log, "%s-> %s: Try to establish connect with server %s:%d%s\n", name_, "_connect",
              target.host.c_str(), static_cast<int>(target.port), target.path.c_str());
    if (!lws_client_connect_via_info(&library_->connect_info)) {
        close();
        return false;
    }
    log_debug(process_log, "%s->Connected\n", name_);
    return true;
}

void connection::close() {
    if (lws_context* context = std::exchange(context_, nullptr)) {
        // The timer of the wait must not outlive its context.
        lws_sul_schedule(context, 0, &library_->wait_limit, end_of_wait, LWS_SET_TIMER_USEC_CANCEL);
        lws_context_destroy(context);
    }
    current_lws_callback = nullptr;
    wsi_ = nullptr;
}

void connection::fill_context_info(bool with_tls) {
    library& records = *library_;
    std::memset(&records, 0, sizeof records);
    lws_protocols& protocol = records.protocols[0];
    protocol.name = name_;
    protocol.callback = lws_dispatch;
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
    if (with_tls) tls_.use_in(info);
}

// The service's name goes into the request, its numeric address to the socket.
void connection::fill_connect_info(const link_target& target, const std::string& address) {
    lws_client_connect_info& info = library_->connect_info;
    info.context = context_;
    info.address = address.c_str();
    info.port = static_cast<int>(target.port);
    info.ssl_connection = LCCSCF_HTTP_NO_FOLLOW_REDIRECT;  // nobody may send the access point elsewhere
    if (target.tls.enabled) {
        info.ssl_connection |= LCCSCF_USE_SSL;
        info.alpn = "http/1.1";
    }
    info.path = target.path.c_str();
    info.host = target.host.c_str();
    info.origin = target.host.c_str();
    info.protocol = name_;
    info.ietf_version_or_minus_one = -1;
}

// The library waits on our event descriptor too, so that no other thread ever calls into it. It closes what it is
// given.
bool connection::adopt_signal(int wake_fd) {
    lws_sock_file_fd_type copy;
    copy.filefd = fcntl(wake_fd, F_DUPFD_CLOEXEC, 0);
    if (copy.filefd == -1) return false;
    lws_vhost* vhost = lws_get_vhost_by_name(context_, "default");
    return lws_adopt_descriptor_vhost(vhost, LWS_ADOPT_RAW_FILE_DESC, copy, name_, nullptr) != nullptr;
}

void connection::take_signal(lws* wsi) {
    std::uint64_t count;
    [[maybe_unused]] const ssize_t got = read(lws_get_socket_fd(wsi), &count, sizeof count);
}

bool connection::service(int limit_ms) {
    if (limit_ms <= 0) return lws_service_tsi(context_, -1, 0) >= 0;  // looks without waiting
    lws_sul_schedule(context_, 0, &library_->wait_limit, end_of_wait, limit_ms * static_cast<lws_usec_t>(1000));
    return lws_service(context_, limit_ms) >= 0;
}

void connection::ask_to_write() {
    if (wsi_) lws_callback_on_writable(wsi_);
}

bool connection::output_pending() const { return wsi_ && lws_partial_buffered(wsi_) != 0; }

}  // namespace ravd

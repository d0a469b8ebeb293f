#include "sim/service/engine.h"

#include <libwebsockets.h>

#include <utility>

namespace ravd::sim {

struct engine::state {
    lws_context* context = nullptr;
    lws_vhost* vhost = nullptr;
    lws_retry_bo_t patience = {};
    std::vector<std::string> names;
    std::vector<lws_protocols> protocols;
    bool moved = false;  // something was done since the last look
};

namespace {

constexpr std::size_t buffer_size = 64 * 1024;

std::string peer_close_reason(const void* in, size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(in);
    return "closed by the agent" + (size < 2 ? "" : " with code " + std::to_string(bytes[0] << 8 | bytes[1]));
}

int opened(lws* wsi, connection& c) {
    char path[512] = "";
    if (lws_hdr_copy(wsi, path, sizeof path, WSI_TOKEN_GET_URI) < 0) path[0] = '\0';
    const bool named = lws_hdr_total_length(wsi, WSI_TOKEN_PROTOCOL) > 0;
    c.on_open(named ? lws_get_protocol(wsi)->name : "", path);
    return 0;
}

int connection_event(lws* wsi, lws_callback_reasons reason, connection& c, void* in, size_t size) {
    switch (reason) {
        case LWS_CALLBACK_ESTABLISHED:
            return opened(wsi, c);
        case LWS_CALLBACK_RECEIVE: {
            const bool final = lws_is_final_fragment(wsi) && lws_remaining_packet_payload(wsi) == 0;
            c.on_receive({static_cast<const char*>(in), size}, final, lws_frame_is_binary(wsi) != 0);
            return 0;
        }
        case LWS_CALLBACK_RECEIVE_PONG:
            c.on_pong();
            return 0;
        case LWS_CALLBACK_SERVER_WRITEABLE:
            return c.on_writable();
        case LWS_CALLBACK_WS_PEER_INITIATED_CLOSE:
            c.on_peer_close(peer_close_reason(in, size));
            return 0;
        case LWS_CALLBACK_CLOSED:
            c.on_closed();
            return 0;
        case LWS_CALLBACK_WSI_DESTROY:
            c.attach(nullptr);
            return 0;
        default:
            return 0;
    }
}

// One callback for all sub-protocols and for the HTTP side of the handshake.
int engine_callback(lws* wsi, lws_callback_reasons reason, void*, void* in, size_t size) {
    auto* c = wsi ? static_cast<connection*>(lws_get_opaque_user_data(wsi)) : nullptr;
    if (reason == LWS_CALLBACK_HTTP) return -1;  // only websockets are served
    if (!c) return reason == LWS_CALLBACK_ESTABLISHED ? -1 : 0;
    // A connection that may write and has to wait would otherwise be asked again and again.
    if (reason != LWS_CALLBACK_SERVER_WRITEABLE)
        static_cast<engine::state*>(lws_context_user(lws_get_context(wsi)))->moved = true;
    return connection_event(wsi, reason, *c, in, size);
}

}  // namespace

engine::engine() : state_(new state) {}

engine::~engine() {
    if (state_->context) lws_context_destroy(state_->context);
}

bool engine::start(const std::vector<std::string>& sub_protocols, std::size_t max_links, std::string& error) {
    // No keepalive of the engine's own: a lab peer may be silent as long as it likes.
    state_->patience.secs_since_valid_ping = 65534;
    state_->patience.secs_since_valid_hangup = 65535;
    state_->names = sub_protocols;
    for (const std::string& name : state_->names) {
        lws_protocols protocol = {};
        protocol.name = name.c_str();
        protocol.callback = engine_callback;
        protocol.rx_buffer_size = buffer_size;
        state_->protocols.push_back(protocol);
    }
    state_->protocols.push_back(lws_protocols{});
    lws_set_log_level(0, nullptr);
    lws_context_creation_info info = {};
    info.port = CONTEXT_PORT_NO_LISTEN_SERVER;
    info.protocols = state_->protocols.data();
    info.gid = -1;
    info.uid = -1;
    info.pt_serv_buf_size = buffer_size;
    info.fd_limit_per_thread = static_cast<unsigned>(max_links + 16);
    info.retry_and_idle_policy = &state_->patience;
    info.options = LWS_SERVER_OPTION_EXPLICIT_VHOSTS;
    info.user = state_.get();
    state_->context = lws_create_context(&info);
    if (state_->context) state_->vhost = lws_create_vhost(state_->context, &info);
    if (!state_->vhost) error = "cannot start the websocket engine";
    return state_->vhost != nullptr;
}

bool engine::adopt(unique_fd end, connection& to) {
    lws* wsi = lws_adopt_socket_vhost(state_->vhost, end.release());  // closes the descriptor when it fails
    if (!wsi) return false;
    to.attach(wsi);
    lws_set_opaque_user_data(wsi, &to);
    return true;
}

bool engine::service() {
    state_->moved = false;
    lws_service_tsi(state_->context, -1, 0);  // never blocks
    return state_->moved;
}

}  // namespace ravd::sim

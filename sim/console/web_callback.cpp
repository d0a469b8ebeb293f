// Requests and websockets of the console, as the library tells of them.
#include <algorithm>

#include "sim/console/request_check.h"
#include "sim/console/web_state.h"

namespace ravd::sim {
namespace {

using state = web_server::state;
using session = web_server::session;

std::string header(lws* wsi, lws_token_indexes which) {
    char text[512] = "";
    return lws_hdr_copy(wsi, text, sizeof text, which) > 0 ? text : "";
}

int refuse(lws* wsi, unsigned status) {
    lws_return_http_status(wsi, status, nullptr);
    return lws_http_transaction_completed(wsi) ? -1 : 0;
}

// 0 when the request may go on, and `path` is what it is for, otherwise the status to refuse it with.
unsigned check_request(const state& server, lws* wsi, std::string& path) {
    if (lws_hdr_total_length(wsi, WSI_TOKEN_GET_URI) <= 0) return HTTP_STATUS_METHOD_NOT_ALLOWED;
    if (server.token.empty() && !host_is_ours(header(wsi, WSI_TOKEN_HOST), server.address, server.port))
        return HTTP_STATUS_FORBIDDEN;
    path = header(wsi, WSI_TOKEN_GET_URI);
    std::string_view rest = path;
    if (!strip_token(server.token, rest)) return HTTP_STATUS_NOT_FOUND;
    path = std::string(rest);
    return 0;
}

int begin_download(session& s, lws* wsi) {
    unsigned char buffer[LWS_PRE + 2048];
    unsigned char* at = buffer + LWS_PRE;
    if (lws_add_http_common_headers(wsi, HTTP_STATUS_OK, "application/x-ndjson", LWS_ILLEGAL_HTTP_CONTENT_LEN, &at,
                                    buffer + sizeof buffer) ||
        lws_finalize_write_http_header(wsi, buffer + LWS_PRE, &at, buffer + sizeof buffer))
        return -1;
    s.download = true;
    s.download_at = 0;
    s.busy = true;
    lws_callback_on_writable(wsi);
    return 0;
}

int serve(state& server, session& s, lws* wsi) {
    std::string path;
    if (const unsigned status = check_request(server, wsi, path)) return refuse(wsi, status);
    if (path == "/log.jsonl") return begin_download(s, wsi);
    const web_file* file = server.files.find(path);
    if (!file) return refuse(wsi, HTTP_STATUS_NOT_FOUND);
    s.busy = true;
    const int sent = lws_serve_http_file(wsi, file->path.c_str(), file->type, nullptr, 0);
    if (sent < 0) return -1;
    if (sent > 0) {
        s.busy = false;
        return lws_http_transaction_completed(wsi) ? -1 : 0;
    }
    return 0;
}

int continue_download(state& server, session& s, lws* wsi) {
    if (!s.download) return 0;
    std::string piece = server.listener.download_piece(s.download_at);
    const bool end = piece.empty();
    const std::size_t size = piece.size();
    piece.insert(0, LWS_PRE, '\0');
    if (lws_write(wsi, reinterpret_cast<unsigned char*>(&piece[LWS_PRE]), size,
                  end ? LWS_WRITE_HTTP_FINAL : LWS_WRITE_HTTP) < 0 ||
        end)
        return -1;
    lws_callback_on_writable(wsi);
    return 0;
}

// A websocket is opened only for a page that came from here.
int confirm_upgrade(state& server, lws* wsi, const char* to) {
    std::string path;
    unsigned status = check_request(server, wsi, path);
    if (status == 0 && (std::string_view(to ? to : "") != "websocket" || path != "/live"))
        status = HTTP_STATUS_NOT_FOUND;
    if (status == 0 && (header(wsi, WSI_TOKEN_PROTOCOL) != "ravd-console" ||
                        !origin_is_ours(header(wsi, WSI_TOKEN_ORIGIN), header(wsi, WSI_TOKEN_HOST))))
        status = HTTP_STATUS_FORBIDDEN;
    if (status == 0 && server.viewers() >= viewer_limit) status = HTTP_STATUS_SERVICE_UNAVAILABLE;
    if (status == 0) return 0;
    lws_return_http_status(wsi, status, nullptr);
    return 1;
}

int receive(state& server, session& s, lws* wsi, std::string_view piece) {
    if (s.doomed || piece.size() > viewer_request_limit - s.received.size()) return -1;
    s.received.append(piece);
    if (!lws_is_final_fragment(wsi) || lws_remaining_packet_payload(wsi) > 0) return 0;
    std::string text;
    text.swap(s.received);
    server.listener.viewer_said(s.viewer, text);
    return 0;
}

int write_next(state& server, session& s, lws* wsi) {
    if (s.doomed) return -1;
    if (s.queue.empty() || lws_partial_buffered(wsi)) {
        if (!s.queue.empty()) lws_callback_on_writable(wsi);
        return 0;
    }
    const web_frame frame = std::move(s.queue.front());
    s.queue.pop_front();
    const std::size_t size = frame->size() - LWS_PRE;
    s.queued -= size;
    // The library writes the frame's header before the text: the same one for every viewer.
    if (lws_write(wsi, reinterpret_cast<unsigned char*>(&(*frame)[LWS_PRE]), size, LWS_WRITE_TEXT) < 0) return -1;
    if (s.queue.empty()) server.listener.viewer_drained(s.viewer);
    if (!s.queue.empty()) lws_callback_on_writable(wsi);
    return 0;
}

int end_viewer(state& server, session& s) {
    const unsigned viewer = std::exchange(s.viewer, 0);
    s.queue.clear();
    s.queued = 0;
    if (viewer != 0) server.listener.viewer_left(viewer);
    return 0;
}

int session_event(state& server, session& s, lws* wsi, lws_callback_reasons reason, void* in, std::size_t size) {
    switch (reason) {
        case LWS_CALLBACK_HTTP:
            return serve(server, s, wsi);
        case LWS_CALLBACK_HTTP_WRITEABLE:
            return continue_download(server, s, wsi);
        case LWS_CALLBACK_HTTP_FILE_COMPLETION:
            s.busy = false;
            return lws_http_transaction_completed(wsi) ? -1 : 0;
        case LWS_CALLBACK_HTTP_CONFIRM_UPGRADE:
            return confirm_upgrade(server, wsi, static_cast<const char*>(in));
        case LWS_CALLBACK_ESTABLISHED:
            s.viewer = server.next_viewer++;
            server.listener.viewer_joined(s.viewer);
            return 0;
        case LWS_CALLBACK_RECEIVE:
            return receive(server, s, wsi, {static_cast<const char*>(in), size});
        case LWS_CALLBACK_SERVER_WRITEABLE:
            return write_next(server, s, wsi);
        case LWS_CALLBACK_CLOSED:
            return end_viewer(server, s);
        case LWS_CALLBACK_WSI_DESTROY:
            s.wsi = nullptr;
            return end_viewer(server, s);
        default:
            return 0;
    }
}

}  // namespace

std::size_t web_server::state::viewers() const {
    return static_cast<std::size_t>(
        std::count_if(sessions.begin(), sessions.end(), [](const session& s) { return s.viewer != 0; }));
}

int web_callback(lws* wsi, lws_callback_reasons reason, void*, void* in, std::size_t size) {
    auto* s = wsi ? static_cast<session*>(lws_get_opaque_user_data(wsi)) : nullptr;
    if (!s) return reason == LWS_CALLBACK_HTTP || reason == LWS_CALLBACK_ESTABLISHED ? -1 : 0;
    auto& server = *static_cast<state*>(lws_context_user(lws_get_context(wsi)));
    server.moved = true;
    return session_event(server, *s, wsi, reason, in, size);
}

}  // namespace ravd::sim

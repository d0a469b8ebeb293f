// A bare websocket client that does nothing but ping every 30 s: what any agent on this library costs at least.
//   bare_client HOST PORT
#include <libwebsockets.h>

#include <cstdio>
#include <cstdlib>

namespace {

lws_sorted_usec_list_t ping_timer;
lws* connection = nullptr;

void ask_for_ping(lws_sorted_usec_list_t*) {
    if (connection) lws_callback_on_writable(connection);
}

int on_event(lws* wsi, lws_callback_reasons reason, void*, void*, size_t) {
    unsigned char room[LWS_PRE];
    switch (reason) {
        case LWS_CALLBACK_CLIENT_ESTABLISHED:
            connection = wsi;
            lws_callback_on_writable(wsi);
            break;
        case LWS_CALLBACK_CLIENT_WRITEABLE:
            lws_write(wsi, room + LWS_PRE, 0, LWS_WRITE_PING);
            lws_sul_schedule(lws_get_context(wsi), 0, &ping_timer, ask_for_ping, 30 * LWS_US_PER_SEC);
            break;
        case LWS_CALLBACK_CLIENT_CLOSED:
        case LWS_CALLBACK_CLIENT_CONNECTION_ERROR:
            std::exit(1);
        default:
            break;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    lws_set_log_level(0, nullptr);
    const lws_protocols protocols[2] = {{"websock-roaming", on_event, 0, 0, 0, nullptr, 0},
                                        {nullptr, nullptr, 0, 0, 0, nullptr, 0}};
    lws_context_creation_info info{};
    info.port = CONTEXT_PORT_NO_LISTEN;
    info.protocols = protocols;
    info.gid = -1;
    info.uid = -1;
    info.fd_limit_per_thread = 8;
    lws_context* context = lws_create_context(&info);
    if (!context) return 1;
    lws_client_connect_info connect{};
    connect.context = context;
    connect.address = argv[1];
    connect.port = std::atoi(argv[2]);
    connect.path = "/";
    connect.host = connect.origin = connect.address;
    connect.protocol = "websock-roaming";
    connect.ietf_version_or_minus_one = -1;
    if (!lws_client_connect_via_info(&connect)) return 1;
    while (lws_service(context, 0) >= 0) {
    }
    return 0;
}

// The worker's side of libwebsockets; only sources of this folder include it.
#pragma once

#include <libwebsockets.h>

#include "link/websock_worker.h"

namespace ravd {

// Rebuilt at every connect, but for the list entry of the wait.
struct websock_worker::library {
    lws_context_creation_info context_info;
    lws_client_connect_info connect_info;
    lws_protocols protocols[2];         // ours, then the terminator
    lws_sorted_usec_list_t wait_limit;  // ends lws_service(), which ignores its timeout
};

// The protocol callback given to libwebsockets: forwards to current_lws_callback.
int lws_dispatch(lws* wsi, lws_callback_reasons reason, void* user, void* in, std::size_t len);

}  // namespace ravd

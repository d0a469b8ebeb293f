// What the web server shares with the library's callback.
#pragma once

#include <libwebsockets.h>

#include <deque>
#include <list>
#include <string>

#include "sim/console/web_files.h"
#include "sim/console/web_server.h"

namespace ravd::sim {

// One TCP connection: a browser's request, or a viewer from its upgrade on.
struct web_server::session {
    lws* wsi = nullptr;  // null once the library is done with it
    unique_fd watched;   // a second descriptor of the connection, for the loop
    short events = 0;    // what the loop looks for
    bool busy = false;   // an answer is on its way
    bool download = false;
    std::uint64_t download_at = 0;
    unsigned viewer = 0;  // 0: no websocket
    bool doomed = false;  // to be let go
    std::deque<web_frame> queue;
    std::size_t queued = 0;  // bytes
    std::string received;    // the message that is coming in
};

struct web_server::state {
    explicit state(web_listener& owner) : listener(owner) {}

    web_listener& listener;
    web_files files;
    std::string address;
    unsigned port = 0;
    std::string token;  // empty: none is asked for
    lws_context* context = nullptr;
    lws_vhost* vhost = nullptr;
    std::list<session> sessions;
    unsigned next_viewer = 1;
    bool moved = false;  // something was done since the last look

    std::size_t viewers() const;
};

// The library's callback for everything.
int web_callback(lws* wsi, lws_callback_reasons reason, void* user, void* in, std::size_t size);

}  // namespace ravd::sim

#include "sim/console/web_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "sim/console/request_check.h"
#include "sim/console/web_state.h"

namespace ravd::sim {
namespace {

constexpr std::int64_t tick_ms = 250;  // for the library's time limits
constexpr std::size_t buffer_size = 64 * 1024;

// On every answer.
const lws_protocol_vhost_options cross_origin = {nullptr, nullptr, "cross-origin-resource-policy:", "same-origin"};
const lws_protocol_vhost_options referrer = {&cross_origin, nullptr, "referrer-policy:", "no-referrer"};
const lws_protocol_vhost_options sniffing = {&referrer, nullptr, "x-content-type-options:", "nosniff"};
const lws_protocol_vhost_options headers = {
    &sniffing, nullptr,
    "content-security-policy:", "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"};

const lws_protocols protocols[] = {
    {"http", web_callback, 0, buffer_size, 0, nullptr, buffer_size},
    {"ravd-console", web_callback, 0, buffer_size, 0, nullptr, buffer_size},
    {nullptr, nullptr, 0, 0, 0, nullptr, 0},
};

lws_context* new_context(void* user) {
    lws_context_creation_info info = {};
    info.port = CONTEXT_PORT_NO_LISTEN_SERVER;
    info.protocols = protocols;
    info.gid = -1;
    info.uid = -1;
    info.pt_serv_buf_size = buffer_size;
    info.fd_limit_per_thread = static_cast<unsigned>(web_connection_limit + 16);
    info.options = LWS_SERVER_OPTION_EXPLICIT_VHOSTS;
    info.user = user;
    return lws_create_context(&info);
}

lws_vhost* new_vhost(lws_context* context) {
    lws_context_creation_info info = {};
    info.port = CONTEXT_PORT_NO_LISTEN_SERVER;
    info.protocols = protocols;
    info.headers = &headers;
    info.keepalive_timeout = 15;
    return lws_create_vhost(context, &info);
}

}  // namespace

web_frame make_frame(const std::string& text) {
    auto frame = std::make_shared<std::string>(LWS_PRE, '\0');
    frame->append(text);
    return frame;
}

web_server::web_server(event_loop& loop, web_listener& listener)
    : loop_(loop), state_(std::make_unique<state>(listener)) {}

web_server::~web_server() {
    if (listener_fd_) loop_.forget(listener_fd_.get());
    if (state_->context) lws_context_destroy(state_->context);
    for (const session& one : state_->sessions)
        loop_.forget(one.watched.get());
}

bool web_server::start(const web_options& options, std::string& error) {
    const std::string directory = options.files.empty() ? installed_web_directory() : options.files;
    if (!state_->files.open(directory, error)) return false;
    state_->files.add("/vendor/chart.min.js", RAVD_CHART_LIBRARY);
    if (!is_loopback(options.address)) {
        state_->token = random_token();
        error = "no random bits for the token";
        if (state_->token.empty()) return false;
    }
    if (!listen_on_port(options, error)) return false;
    lws_set_log_level(0, nullptr);
    state_->context = new_context(state_.get());
    if (state_->context) state_->vhost = new_vhost(state_->context);
    if (!state_->vhost) {
        error = "cannot start the web server";
        return false;
    }
    loop_.watch(listener_fd_.get(), POLLIN, [this](short) { accept_all(); });
    tick();
    return true;
}

bool web_server::listen_on_port(const web_options& options, std::string& error) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(options.port));
    if (inet_pton(AF_INET, options.address.c_str(), &address.sin_addr) != 1) {
        error = "--web: not an IPv4 address: " + options.address;
        return false;
    }
    listener_fd_.reset(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    setsockopt(listener_fd_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener_fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_fd_.get(), 64) != 0) {
        error = std::string("--web: cannot listen: ") + std::strerror(errno);
        return false;
    }
    socklen_t length = sizeof address;
    getsockname(listener_fd_.get(), reinterpret_cast<sockaddr*>(&address), &length);
    state_->address = options.address;
    state_->port = ntohs(address.sin_port);
    return true;
}

std::string web_server::url() const {
    return "http://" + state_->address + ":" + std::to_string(state_->port) + "/" +
           (state_->token.empty() ? "" : state_->token + "/");
}

void web_server::accept_all() {
    while (state_->sessions.size() < web_connection_limit) {
        unique_fd tcp(accept4(listener_fd_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!tcp && errno != EMFILE && errno != ENFILE) return;
        if (!tcp) break;
        adopt(std::move(tcp));
    }
    full_ = true;
    loop_.change(listener_fd_.get(), 0);  // until there is room again
}

void web_server::adopt(unique_fd tcp) {
    const int on = 1;
    setsockopt(tcp.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    unique_fd watched(fcntl(tcp.get(), F_DUPFD_CLOEXEC, 0));
    if (!watched) return;
    session& fresh = state_->sessions.emplace_back();
    fresh.wsi = lws_adopt_socket_vhost(state_->vhost, tcp.release());  // closes the descriptor when it fails
    if (!fresh.wsi) {
        state_->sessions.pop_back();
        return;
    }
    lws_set_opaque_user_data(fresh.wsi, &fresh);
    fresh.watched = std::move(watched);
    fresh.events = POLLIN;
    loop_.watch(fresh.watched.get(), POLLIN, [this](short) { stir(); });
    stir();
}

void web_server::send(unsigned viewer, const web_frame& frame) {
    for (session& one : state_->sessions) {
        if (one.viewer != viewer || one.doomed || !one.wsi) continue;
        one.queued += frame->size() - LWS_PRE;
        one.queue.push_back(frame);
        lws_callback_on_writable(one.wsi);
        if (one.queued > viewer_backlog_limit) {
            one.doomed = true;
            one.queue.clear();
            one.queued = 0;
            lws_set_timeout(one.wsi, PENDING_TIMEOUT_KILLED_BY_PARENT, LWS_TO_KILL_ASYNC);
        }
        stir();
    }
}

void web_server::stir() {
    if (std::exchange(stirred_, true)) return;
    loop_.soon([this] {
        stirred_ = false;
        look_after();
    });
}

void web_server::look_after() {
    state_->moved = false;
    lws_service_tsi(state_->context, -1, 0);  // never blocks
    if (state_->moved) stir();
    follow();
}

// What the loop has to look for, and what is over.
void web_server::follow() {
    auto& sessions = state_->sessions;
    for (auto it = sessions.begin(); it != sessions.end();) {
        if (!it->wsi) {
            loop_.forget(it->watched.get());
            it = sessions.erase(it);
            continue;
        }
        const bool writes = it->busy || !it->queue.empty();
        const auto events = static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN);
        if (events != it->events) loop_.change(it->watched.get(), it->events = events);
        ++it;
    }
    if (!full_ || sessions.size() >= web_connection_limit) return;
    full_ = false;
    loop_.change(listener_fd_.get(), POLLIN);
}

void web_server::tick() {
    look_after();
    loop_.after(tick_ms, [this] { tick(); });
}

}  // namespace ravd::sim

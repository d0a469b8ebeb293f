#include "sim/service/server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <libwebsockets.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>

#include "sim/service/clock.h"
#include "sim/service/wire.h"

namespace ravd::lab {

namespace {

constexpr unsigned chunk_size = 64 * 1024;
constexpr double linger_seconds = 2;

void set_nonblocking(int fd) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
}

std::string system_error(const char* what) { return std::string(what) + ": " + std::strerror(errno); }

}  // namespace

struct server::connection {
    connection(server& the_owner, unsigned the_number, int tcp, int near, std::string the_peer)
        : owner(the_owner), number(the_number), peer(std::move(the_peer)), relay(tcp, near) {}

    server& owner;
    unsigned number;
    std::string peer;
    wire relay;
    lws* wsi = nullptr;
    bool open = false;       // the handshake is complete and the end was not reported
    bool oversized = false;  // the rest of the message in progress is skipped
    std::string close_reason = "closed";
    std::string received;
    std::deque<outgoing> output;
    std::size_t queued = 0;
    double engine_ended = 0;  // when the engine was done with it
    link_statistics counts;
};

struct server::engine {
    lws_context* context = nullptr;
    lws_vhost* vhost = nullptr;
    lws_retry_bo_t patience = {};
    std::vector<lws_protocols> protocols;
};

namespace {

// One callback for all sub-protocols and for the HTTP side of the handshake.
int engine_callback(lws* wsi, lws_callback_reasons reason, void*, void* in, size_t size) {
    auto* c = wsi ? static_cast<server::connection*>(lws_get_opaque_user_data(wsi)) : nullptr;
    switch (reason) {
        case LWS_CALLBACK_HTTP:
            return -1;  // only websockets are served
        case LWS_CALLBACK_ESTABLISHED: {
            if (!c) return -1;
            char path[512] = "";
            if (lws_hdr_copy(wsi, path, sizeof path, WSI_TOKEN_GET_URI) < 0) path[0] = '\0';
            const bool named = lws_hdr_total_length(wsi, WSI_TOKEN_PROTOCOL) > 0;
            c->owner.on_open(*c, named ? lws_get_protocol(wsi)->name : "", path);
            return 0;
        }
        case LWS_CALLBACK_RECEIVE:
            if (c) {
                const bool final = lws_is_final_fragment(wsi) && lws_remaining_packet_payload(wsi) == 0;
                c->owner.on_receive(*c, static_cast<const char*>(in), size, final, lws_frame_is_binary(wsi) != 0);
            }
            return 0;
        case LWS_CALLBACK_RECEIVE_PONG:
            if (c) ++c->counts.pongs;
            return 0;
        case LWS_CALLBACK_SERVER_WRITEABLE:
            return c ? c->owner.on_writable(*c) : 0;
        case LWS_CALLBACK_WS_PEER_INITIATED_CLOSE:
            if (c) {
                c->close_reason = "closed by the agent";
                if (size >= 2) {
                    const auto* bytes = static_cast<const unsigned char*>(in);
                    c->close_reason += " with code " + std::to_string(bytes[0] << 8 | bytes[1]);
                }
            }
            return 0;
        case LWS_CALLBACK_CLOSED:
            if (c) c->owner.on_closed(*c);
            return 0;
        case LWS_CALLBACK_WSI_DESTROY:
            if (c) c->wsi = nullptr;
            return 0;
        default:
            return 0;
    }
}

}  // namespace

server::server(server_listener& listener) : listener_(listener), engine_(new engine) {}

server::~server() {
    for (auto& entry : connections_) {
        if (entry.second->wsi) lws_set_opaque_user_data(entry.second->wsi, nullptr);
    }
    if (engine_->context) lws_context_destroy(engine_->context);
    if (listen_fd_ >= 0) close(listen_fd_);
}

bool server::start(const server_options& options, std::string& error) {
    options_ = options;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(options.port));
    if (inet_pton(AF_INET, options.bind_address.c_str(), &address.sin_addr) != 1) {
        error = "not an IPv4 address: " + options.bind_address;
        return false;
    }
    listen_fd_ = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    if (listen_fd_ < 0 || setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(listen_fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listen_fd_, 256) != 0) {
        error = system_error("cannot listen");
        return false;
    }
    set_nonblocking(listen_fd_);
    // Connections inherit it: small enough that an agent soon notices when nobody reads.
    const int buffer = 4 * static_cast<int>(chunk_size);
    setsockopt(listen_fd_, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    socklen_t length = sizeof address;
    getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);

    // No keepalive of the engine's own: a lab peer may be silent as long as it likes.
    engine_->patience.secs_since_valid_ping = 65534;
    engine_->patience.secs_since_valid_hangup = 65535;
    for (const std::string& name : options_.sub_protocols) {
        lws_protocols protocol = {};
        protocol.name = name.c_str();
        protocol.callback = engine_callback;
        protocol.rx_buffer_size = chunk_size;
        engine_->protocols.push_back(protocol);
    }
    engine_->protocols.push_back(lws_protocols{});
    lws_set_log_level(0, nullptr);
    lws_context_creation_info info = {};
    info.port = CONTEXT_PORT_NO_LISTEN_SERVER;
    info.protocols = engine_->protocols.data();
    info.gid = -1;
    info.uid = -1;
    info.pt_serv_buf_size = chunk_size;
    info.fd_limit_per_thread = static_cast<unsigned>(options_.max_links + 16);
    info.retry_and_idle_policy = &engine_->patience;
    info.options = LWS_SERVER_OPTION_EXPLICIT_VHOSTS;
    engine_->context = lws_create_context(&info);
    if (engine_->context) engine_->vhost = lws_create_vhost(engine_->context, &info);
    if (!engine_->vhost) {
        error = "cannot start the websocket engine";
        return false;
    }
    return true;
}

void server::poll_entries(std::vector<pollfd>& entries) {
    const bool room = connections_.size() < options_.max_links;
    entries.push_back({room ? listen_fd_ : -1, POLLIN, 0});
    polled_.clear();
    for (const auto& entry : connections_) {
        polled_.push_back(entry.first);
        entries.resize(entries.size() + 2);
        entry.second->relay.poll_entries(&entries[entries.size() - 2]);
    }
}

void server::turn(const pollfd* entries) {
    moved_ = false;
    for (std::size_t i = 0; i < polled_.size(); ++i) {
        connection* c = find(polled_[i]);
        const short tcp = entries[1 + 2 * i].revents;
        const short engine = entries[2 + 2 * i].revents;
        if (c && (tcp || engine || c->relay.injecting() || c->relay.tcp_ended())) {
            if (c->relay.pump(tcp)) moved_ = true;
        }
    }
    if (entries[0].revents) accept_all();
    service_engine();
    remove_finished();
}

void server::accept_all() {
    while (connections_.size() < options_.max_links) {
        sockaddr_in address = {};
        socklen_t length = sizeof address;
        const int tcp = accept(listen_fd_, reinterpret_cast<sockaddr*>(&address), &length);
        if (tcp < 0) return;
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) {
            close(tcp);
            return;
        }
        set_nonblocking(tcp);
        set_nonblocking(pair[0]);
        set_nonblocking(pair[1]);
        const int on = 1;
        const int buffer = 4 * static_cast<int>(chunk_size);
        setsockopt(tcp, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
        setsockopt(pair[1], SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
        char text[INET_ADDRSTRLEN] = "";
        inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
        const unsigned number = next_number_++;
        auto c = std::make_unique<connection>(*this, number, tcp, pair[0],
                                              std::string(text) + ":" + std::to_string(ntohs(address.sin_port)));
        c->wsi = lws_adopt_socket_vhost(engine_->vhost, pair[1]);  // closes the descriptor when it fails
        if (!c->wsi) continue;
        lws_set_opaque_user_data(c->wsi, c.get());
        connections_[number] = std::move(c);
        moved_ = true;
    }
}

void server::service_engine() {
    lws_service_tsi(engine_->context, -1, 0);  // never blocks
}

void server::remove_finished() {
    for (auto it = connections_.begin(); it != connections_.end();) {
        connection& c = *it->second;
        if (!c.relay.finished() && c.relay.engine_ended()) {
            const double now = monotonic_seconds();
            if (c.engine_ended == 0) c.engine_ended = now;
            if (now - c.engine_ended > linger_seconds) c.relay.drop();
        }
        // The engine learns of the end of its socket in one of the next turns and reports it.
        if (c.relay.finished() && !c.wsi) {
            it = connections_.erase(it);
            moved_ = true;
        } else {
            ++it;
        }
    }
}

server::connection* server::find(unsigned link) const {
    const auto it = connections_.find(link);
    return it == connections_.end() ? nullptr : it->second.get();
}

bool server::send(unsigned link, outgoing item) {
    connection* c = find(link);
    if (!c || !c->open || !c->wsi) return false;
    if (item.bytes.size() > output_limit - std::min(c->queued, output_limit)) return false;
    c->queued += item.bytes.size();
    c->output.push_back(std::move(item));
    lws_callback_on_writable(c->wsi);
    moved_ = true;
    return true;
}

bool server::drop(unsigned link) {
    connection* c = find(link);
    if (!c || !c->open) return false;
    c->close_reason = "dropped with a reset";
    c->relay.drop();
    moved_ = true;
    return true;
}

bool server::set_mute(unsigned link, bool on) {
    connection* c = find(link);
    if (c) c->relay.set_mute(on);
    return c != nullptr;
}

bool server::set_reading(unsigned link, bool on) {
    connection* c = find(link);
    if (c) c->relay.set_reading(on);
    return c != nullptr;
}

bool server::statistics(unsigned link, link_statistics& out) const {
    const connection* c = find(link);
    if (!c) return false;
    out = c->counts;
    out.wire_in = c->relay.bytes_in();
    out.wire_out = c->relay.bytes_out();
    out.pings = c->relay.pings();
    out.queued = c->queued;
    out.mute = c->relay.mute();
    out.reading = c->relay.reading();
    return true;
}

void server::on_open(connection& c, const char* sub_protocol, const char* path) {
    c.open = true;
    moved_ = true;
    listener_.link_opened(c.number, c.peer, sub_protocol ? sub_protocol : "", path);
}

void server::on_receive(connection& c, const char* data, std::size_t size, bool final, bool binary) {
    moved_ = true;
    if (!c.oversized && size > message_limit - c.received.size()) {
        c.oversized = true;
        c.received.clear();
        c.received.shrink_to_fit();
        listener_.link_trouble(
            c.number, "a message of more than " + std::to_string(message_limit) + " bytes; the rest of it is skipped");
    }
    if (!c.oversized && size > 0) c.received.append(data, size);
    if (!final) return;
    if (!c.oversized) {
        ++c.counts.messages_in;
        c.counts.payload_in += c.received.size();
        listener_.message_received(c.number, c.received, binary);
    }
    c.oversized = false;
    c.received.clear();
    if (c.received.capacity() > 4 * chunk_size) c.received.shrink_to_fit();
}

int server::on_writable(connection& c) {
    // Writing behind a partial write would leave the frame header out.
    if (c.output.empty() || c.relay.injecting() || lws_partial_buffered(c.wsi)) {
        if (!c.output.empty()) lws_callback_on_writable(c.wsi);
        return 0;
    }
    moved_ = true;
    outgoing item = std::move(c.output.front());
    c.output.pop_front();
    c.queued -= item.bytes.size();
    if (item.what == outgoing::kind::raw) {
        c.relay.inject(std::move(item.bytes));
    } else if (item.what == outgoing::kind::close) {
        lws_close_reason(c.wsi, static_cast<lws_close_status>(item.close_code),
                         reinterpret_cast<unsigned char*>(&item.bytes[0]),
                         std::min<std::size_t>(item.bytes.size(), 123));
        c.close_reason = "closed by the service with code " + std::to_string(item.close_code);
        return -1;
    } else {
        int type = LWS_WRITE_TEXT;
        if (item.what == outgoing::kind::binary) type = LWS_WRITE_BINARY;
        if (item.what == outgoing::kind::ping) type = LWS_WRITE_PING;
        if (item.what == outgoing::kind::first) type = LWS_WRITE_TEXT | LWS_WRITE_NO_FIN;
        if (item.what == outgoing::kind::middle) type = LWS_WRITE_CONTINUATION | LWS_WRITE_NO_FIN;
        if (item.what == outgoing::kind::last) type = LWS_WRITE_CONTINUATION;
        const std::size_t size = item.bytes.size();
        item.bytes.insert(0, LWS_PRE, '\0');
        if (lws_write(c.wsi, reinterpret_cast<unsigned char*>(&item.bytes[LWS_PRE]), size,
                      static_cast<lws_write_protocol>(type)) < 0) {
            return -1;
        }
        if (type != LWS_WRITE_PING && !(type & LWS_WRITE_NO_FIN)) ++c.counts.messages_out;
        if (type != LWS_WRITE_PING) c.counts.payload_out += size;
    }
    if (!c.output.empty()) lws_callback_on_writable(c.wsi);
    return 0;
}

void server::on_closed(connection& c) {
    moved_ = true;
    if (!c.open) return;
    c.open = false;
    c.output.clear();
    c.queued = 0;
    listener_.link_closed(c.number, c.close_reason);
}

}  // namespace ravd::lab

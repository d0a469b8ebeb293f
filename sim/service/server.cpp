#include "sim/service/server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/monotonic.h"

namespace ravd::sim {
namespace {

// Small enough that an agent soon notices when nobody reads.
constexpr int socket_buffer = 256 * 1024;
// The engine has time limits of its own, and connections that linger.
constexpr std::int64_t tick_ms = 50;

void set_nonblocking(const unique_fd& fd) {
    fcntl(fd.get(), F_SETFL, fcntl(fd.get(), F_GETFL) | O_NONBLOCK);
    fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
}

void set_option(const unique_fd& fd, int level, int name, int value) {
    setsockopt(fd.get(), level, name, &value, sizeof value);
}

// Three for an agent, five over TLS; and files, viewers, clients of the control socket.
void ask_for_descriptors(std::size_t links) {
    rlimit now{};
    const rlim_t wanted = 5 * static_cast<rlim_t>(links) + 512;
    if (getrlimit(RLIMIT_NOFILE, &now) != 0 || now.rlim_cur >= wanted) return;
    now.rlim_cur = std::min(now.rlim_max, wanted);
    setrlimit(RLIMIT_NOFILE, &now);
}

}  // namespace

server::~server() {
    if (listener_fd_) loop_.forget(listener_fd_.get());
}

bool server::start(const server_options& options, std::string& error) {
    options_ = options;
    ask_for_descriptors(options_.max_links);
    if (!options_.tls.cert_file.empty() && !door_.open(options_.tls, error)) return false;
    if (!listen_on_port(error)) return false;
    if (!engine_.start(options_.sub_protocols, options_.max_links, error)) return false;
    loop_.watch(listener_fd_.get(), POLLIN, [this](short) { accept_all(); });
    tick();
    return true;
}

bool server::listen_on_port(std::string& error) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(options_.port));
    if (inet_pton(AF_INET, options_.bind_address.c_str(), &address.sin_addr) != 1) {
        error = "not an IPv4 address: " + options_.bind_address;
        return false;
    }
    listener_fd_.reset(socket(AF_INET, SOCK_STREAM, 0));
    set_option(listener_fd_, SOL_SOCKET, SO_REUSEADDR, 1);
    if (bind(listener_fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_fd_.get(), 256) != 0) {
        error = std::string("cannot listen: ") + std::strerror(errno);
        return false;
    }
    set_nonblocking(listener_fd_);
    set_option(listener_fd_, SOL_SOCKET, SO_RCVBUF, socket_buffer);  // connections inherit it
    socklen_t length = sizeof address;
    getsockname(listener_fd_.get(), reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    return true;
}

void server::accept_all() {
    while (connections_.size() < options_.max_links) {
        sockaddr_in address = {};
        socklen_t length = sizeof address;
        unique_fd tcp(accept(listener_fd_.get(), reinterpret_cast<sockaddr*>(&address), &length));
        if (!tcp && errno != EMFILE && errno != ENFILE) return;
        if (!tcp) break;
        char text[INET_ADDRSTRLEN] = "";
        inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
        if (!options_.tls.cert_file.empty()) tcp = door_.admit(std::move(tcp));
        if (tcp) adopt(std::move(tcp), std::string(text) + ":" + std::to_string(ntohs(address.sin_port)));
    }
    loop_.change(listener_fd_.get(), 0);  // until there is room again
}

void server::adopt(unique_fd tcp, const std::string& peer) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) return;
    unique_fd near(pair[0]);
    unique_fd far(pair[1]);
    for (const unique_fd* fd : {&tcp, &near, &far})
        set_nonblocking(*fd);
    set_option(tcp, IPPROTO_TCP, TCP_NODELAY, 1);
    set_option(near, SOL_SOCKET, SO_SNDBUF, socket_buffer);
    set_option(far, SOL_SOCKET, SO_SNDBUF, socket_buffer);
    const unsigned number = next_number_++;
    auto fresh = std::make_unique<connection>(listener_, number, peer, loop_, std::move(tcp), std::move(near),
                                              [this] { stir(); });
    if (!engine_.adopt(std::move(far), *fresh)) return;
    connections_[number] = std::move(fresh);
    stir();
}

void server::stir() {
    if (std::exchange(stirred_, true)) return;
    loop_.soon([this] {
        stirred_ = false;
        look_after();
    });
}

void server::look_after() {
    if (engine_.service()) stir();
    const std::int64_t now = monotonic_ms();
    for (auto it = connections_.begin(); it != connections_.end();)
        it = it->second->finished(now) ? connections_.erase(it) : std::next(it);
    if (connections_.size() < options_.max_links) loop_.change(listener_fd_.get(), POLLIN);
}

void server::tick() {
    look_after();
    loop_.after(tick_ms, [this] { tick(); });
}

connection* server::find(unsigned link) const {
    const auto it = connections_.find(link);
    return it == connections_.end() ? nullptr : it->second.get();
}

bool server::send(unsigned link, outgoing item) {
    connection* c = find(link);
    return c && c->send(std::move(item));
}

bool server::drop(unsigned link) {
    connection* c = find(link);
    return c && c->drop();
}

bool server::set_mute(unsigned link, bool on) {
    connection* c = find(link);
    if (c) c->relay().set_mute(on);
    return c != nullptr;
}

bool server::set_reading(unsigned link, bool on) {
    connection* c = find(link);
    if (c) c->relay().set_reading(on);
    return c != nullptr;
}

bool server::statistics(unsigned link, link_statistics& out) const {
    const connection* c = find(link);
    if (c) out = c->statistics();
    return c != nullptr;
}

}  // namespace ravd::sim

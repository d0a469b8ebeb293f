#include "tests/link/raw_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <libwebsockets.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace ravd::testing {
namespace {

sockaddr_in loopback(std::uint32_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

std::string accept_key(const std::string& request) {
    const std::string field = "Sec-WebSocket-Key: ";
    const std::size_t at = request.find(field) + field.size();
    const std::string text = request.substr(at, request.find('\r', at) - at) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    unsigned char digest[20];
    char encoded[40];
    lws_SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
    lws_b64_encode_string(reinterpret_cast<const char*>(digest), sizeof digest, encoded, sizeof encoded);
    return encoded;
}

}  // namespace

raw_server::raw_server() {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener_, 0) != 0) std::abort();
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
}

raw_server::~raw_server() {
    hang_up();
    drain_backlog();
    close(listener_);
}

void raw_server::fill_backlog() {
    for (int i = 0; i < 4; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const sockaddr_in address = loopback(port);
        static_cast<void>(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        fillers_.push_back(fd);
    }
}

void raw_server::drain_backlog() {
    for (const int fd : fillers_)
        close(fd);
    fillers_.clear();
}

void raw_server::hang_up(bool with_reset) {
    if (peer_ == -1) return;
    const linger now{1, 0};
    if (with_reset) setsockopt(peer_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    close(peer_);
    peer_ = -1;
    open_ = false;
    in_.clear();
    out_.clear();
    sent_ = 0;
}

std::vector<std::string> raw_server::texts() const {
    std::vector<std::string> all;
    for (const frame& entry : received)
        if (entry.opcode == 1) all.push_back(entry.payload);
    return all;
}

void raw_server::send_frame(int opcode, const std::string& payload, bool final) {
    const std::size_t size = payload.size();
    out_ += static_cast<char>((final ? 0x80 : 0) | opcode);
    const int bytes = size < 126 ? 0 : size < 65536 ? 2 : 8;
    out_ += static_cast<char>(bytes == 0 ? static_cast<int>(size) : bytes == 2 ? 126 : 127);
    for (int i = bytes - 1; i >= 0; --i)
        out_ += static_cast<char>((static_cast<std::uint64_t>(size) >> (8 * i)) & 0xff);
    out_ += payload;
}

void raw_server::answer_handshake() {
    const std::size_t end = in_.find("\r\n\r\n");
    if (end == std::string::npos || how == manner::mute) return;
    request = in_.substr(0, end + 2);
    in_.erase(0, end + 4);
    if (how == manner::healthy) {
        out_ +=
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Accept: " +
            accept_key(request) + "\r\n\r\n";
        if (!greeting.empty()) send_text(greeting);
        open_ = true;
    } else if (how == manner::scripted) {
        if (const std::size_t at = reply.find("{key}"); at != std::string::npos)
            reply.replace(at, 5, accept_key(request));
        out_ += reply;
    } else {
        hang_up(how == manner::reset);
    }
}

void raw_server::take_frames() {
    std::size_t used = 0;
    for (;;) {
        const auto at = [&](std::size_t i) { return static_cast<unsigned char>(in_[used + i]); };
        const std::size_t left = in_.size() - used;
        if (left < 2) break;
        const bool masked = (at(1) & 0x80) != 0;
        const int extra = (at(1) & 0x7f) == 126 ? 2 : (at(1) & 0x7f) == 127 ? 8 : 0;
        const std::size_t head = 2 + static_cast<std::size_t>(extra) + (masked ? 4 : 0);
        if (left < head) break;
        std::uint64_t announced = extra ? 0 : at(1) & 0x7f;
        for (int i = 0; i < extra; ++i)
            announced = announced << 8 | at(2 + static_cast<std::size_t>(i));
        if (left - head < announced) break;
        const auto size = static_cast<std::size_t>(announced);
        frame entry{at(0) & 0x0f, (at(0) & 0x80) != 0, masked, in_.substr(used + head, size)};
        for (std::size_t i = 0; masked && i < size; ++i)
            entry.payload[i] = static_cast<char>(entry.payload[i] ^ static_cast<char>(at(head - 4 + i % 4)));
        used += head + size;
        if (entry.opcode == 9) {
            ++pings;
            if (answer_pings) send_frame(10, entry.payload);
        } else {
            received.push_back(std::move(entry));
        }
    }
    in_.erase(0, used);
}

void raw_server::step() {
    if (peer_ == -1) {
        if (how == manner::unreachable) return;
        peer_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (peer_ == -1) return;
        const int on = 1;  // the clock is virtual: delayed packets would come hours late
        setsockopt(peer_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ++accepted;
    }
    static char piece[256 * 1024];
    for (ssize_t n; reading && (n = recv(peer_, piece, sizeof piece, 0)) >= 0;) {
        if (n == 0) return hang_up();
        in_.append(piece, static_cast<std::size_t>(n));
    }
    if (!open_) answer_handshake();
    if (open_) take_frames();
    if (peer_ == -1 || out_.empty()) return;
    const ssize_t n = send(peer_, out_.data() + sent_, out_.size() - sent_, MSG_NOSIGNAL);
    if (n > 0) sent_ += static_cast<std::size_t>(n);
    if (sent_ < out_.size()) return;
    out_.clear();
    sent_ = 0;
}

}  // namespace ravd::testing

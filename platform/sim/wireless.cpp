// Wireless ioctls of the simulation: each crosses the radio socket, on a connection of its own, so that a simulated
// access point may end and start again beneath a running daemon.
#include <linux/wireless.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/sim/radio_protocol.h"
#include "platform/sim/socket_io.h"
#include "platform/system.h"

namespace ravd::sys {
namespace {

// Bytes up to the last that is not zero. Most of a record is never touched: its pages are compared whole.
std::size_t used_bytes(const char* block, std::size_t size) {
    static constexpr char zeros[4096] = {};
    while (size >= sizeof zeros && std::memcmp(block + size - sizeof zeros, zeros, sizeof zeros) == 0)
        size -= sizeof zeros;
    while (size > 0 && block[size - 1] == '\0')
        --size;
    return size;
}

// Waits as long as the access point lets it: a driver call that hangs must be able to hang here too.
bool exchange(const sim::radio_request& request, sim::radio_reply& reply) {
    const unique_fd radio = sim::connect_unix(device_path("/") + sim::radio_socket_name);
    if (!radio) return false;
    const int fd = radio.get();
    const std::string message = sim::encode(request);
    char head[4];
    bool ok = sim::send_all(fd, message.data(), message.size()) && sim::receive_all(fd, head, sizeof head);
    const std::uint32_t size = ok ? sim::load_u32(head) : 0;
    if (size < sim::radio_reply_head || size > sim::radio_reply_head + sim::command_record_size) ok = false;
    if (ok) {
        std::vector<char> bytes(size);
        ok = sim::receive_all(fd, bytes.data(), bytes.size()) && sim::decode(bytes.data(), bytes.size(), reply);
    }
    return ok;
}

}  // namespace

int wireless_socket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

int wireless_ioctl(int sock, unsigned long request, iwreq* req) {
    if (sock < 0) {
        errno = EBADF;
        return -1;
    }
    auto* block = static_cast<char*>(req->u.data.pointer);
    const std::size_t capacity = block ? sim::block_capacity(req->u.data.length) : 0;
    const std::size_t used = used_bytes(block, capacity);

    sim::radio_request message;
    message.number = static_cast<std::uint32_t>(request);
    message.ifname.assign(req->ifr_name, strnlen(req->ifr_name, sizeof req->ifr_name));
    message.length = req->u.data.length;
    message.flags = req->u.data.flags;
    if (used > 0) message.block.assign(block, used);

    sim::radio_reply reply;
    if (!exchange(message, reply)) {
        errno = ENODEV;
        return -1;
    }
    req->u.data.length = reply.length;
    req->u.data.flags = reply.flags;
    // Never beyond the caller's memory, whatever the access point says.
    const std::size_t copied = std::min(reply.block.size(), capacity);
    std::copy_n(reply.block.data(), copied, block);
    if (reply.result < 0) errno = reply.error;
    return reply.result;
}

}  // namespace ravd::sys

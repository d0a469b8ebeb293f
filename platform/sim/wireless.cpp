// Wireless ioctls of the simulation: they cross the radio socket. A simulated access point may end and start again
// beneath a running daemon.
#include <fcntl.h>
#include <linux/wireless.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/portable/short_look.h"
#include "platform/sim/radio_protocol.h"
#include "platform/sim/socket_io.h"
#include "platform/system.h"

namespace ravd::sys {
namespace {

// Bytes up to the last that is not zero. A request fills its block from the front without gaps: behind a page of zeros
// nothing is looked for, since most of a record is never touched, and touching a page costs as much as the call.
std::size_t used_bytes(const char* block, std::size_t size) {
    constexpr std::size_t page = 4096;
    static constexpr char zeros[128] = {};
    std::size_t used = 0;
    for (std::size_t at = 0; at < size && at - used < page; at += sizeof zeros) {
        const std::size_t piece = std::min(size - at, sizeof zeros);
        if (std::memcmp(block + at, zeros, piece) != 0) used = at + piece;
    }
    while (used > 0 && block[used - 1] == '\0')
        --used;
    return used;
}

// The way to the access point of one thread, kept from call to call.
class radio_connection {
  public:
    // Waits as long as the access point lets it: a driver call that hangs must be able to hang here too.
    bool exchange(const sim::radio_request& request, sim::radio_reply& reply) {
        const std::string message = sim::encode(request);
        if (radio_ && ask(message, reply)) return true;
        // The access point of before is gone, and with it whatever it took of this. Perhaps there is another.
        radio_ = sim::connect_unix(device_path("/") + sim::radio_socket_name);
        if (radio_ && ask(message, reply)) return true;
        radio_.reset();
        return false;
    }

  private:
    bool ask(const std::string& message, sim::radio_reply& reply) {
        if (!sim::send_all(radio_.get(), message.data(), message.size())) return false;
        // Most replies come whole with the first piece; nothing follows one until the next request.
        pollfd answer{radio_.get(), POLLIN, 0};
        (void)look_.poll(&answer, 1, -1);
        char first[4 + sim::radio_reply_head + 1024];
        const std::size_t got = sim::receive_some(radio_.get(), first, 4, sizeof first);
        const std::size_t size = got >= 4 ? sim::load_u32(first) : 0;
        if (size < sim::radio_reply_head || size > sim::radio_reply_head + sim::command_record_size) return false;
        if (got == 4 + size) return sim::decode(first + 4, size, reply);
        if (got > 4 + size) return false;
        std::vector<char> bytes(size);
        std::copy(first + 4, first + got, bytes.begin());
        const std::size_t held = got - 4;
        return sim::receive_all(radio_.get(), bytes.data() + held, size - held) &&
               sim::decode(bytes.data(), size, reply);
    }

    unique_fd radio_;
    short_look look_;
};

}  // namespace

// Any will do, and one more of the same is cheaper.
int wireless_socket() {
    static const unique_fd first(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return fcntl(first.get(), F_DUPFD_CLOEXEC, 0);
}

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

    thread_local radio_connection radio;
    sim::radio_reply reply;
    if (!radio.exchange(message, reply)) {
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

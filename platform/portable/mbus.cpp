// The device's bus calls over a bus_endpoint.
#include "platform/mbus.h"

#include <cstring>
#include <memory>
#include <utility>

#include "platform/ctree.h"
#include "platform/portable/bus_endpoint.h"
#include "platform/system.h"

struct mbus_endpoint {
    std::unique_ptr<ravd::bus_endpoint> bus;
    std::uint64_t request = 0;  // connection of the last send; 0 when it was not accepted
};

namespace {

constexpr int longest_wait = 10000000;  // tenths of a second, so that milliseconds fit an int

long long now_ms() {
    const timespec now = ravd::sys::monotonic_now();
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// The message as a tree when it is the awaited answer, else null.
ctree* match_answer(const ravd::bus_message& message, const char* answer) {
    ctree* tree = ctree_parse_buffer(message.text().data());  // a block ends in a zero byte
    const char* command = ctree_get_param(tree, "command");
    if (command && std::strcmp(command, answer) == 0) return tree;
    ctree_release(tree);
    return nullptr;
}

}  // namespace

mbus_endpoint* mbus_init(int module, const void*, std::size_t) {
    auto bus = ravd::bus_endpoint::open(ravd::sys::device_path("/run/ravd-bus"), module);
    return bus ? new mbus_endpoint{std::move(bus)} : nullptr;
}

void mbus_release(mbus_endpoint* bus) { delete bus; }

void mbus_set_moduleloop(mbus_endpoint* bus, int value) {
    if (value == 0) mbus_peer_stop(bus);
}

int mbus_get_moduleloop(mbus_endpoint* bus) { return bus->bus->running() ? 1 : 0; }
void mbus_peer_start(mbus_endpoint* bus) { (void)bus->bus->start(); }

void mbus_peer_stop(mbus_endpoint* bus) {
    bus->bus->stop();
    bus->request = 0;
}

void* mbus_get_msg_from_queue_no_wait(mbus_endpoint* bus) {
    ravd::bus_message message;
    return bus->bus->receive(message) ? message.block.release() : nullptr;
}

int mbus_msg_send(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length) {
    const std::string_view text(static_cast<const char*>(bytes), length);
    return bus->bus->send(destination, text, &bus->request) == ravd::bus_result::accepted ? 0 : -1;
}

ctree* mbus_wait_answer(mbus_endpoint* bus, const char* answer, const char*, int timeout) {
    if (bus->request == 0 || timeout <= 0) return nullptr;
    const long long end = now_ms() + 100LL * (timeout < longest_wait ? timeout : longest_wait);
    for (;;) {
        // Looked at before the messages are, so that none that came before the end is missed.
        const bool open = bus->bus->is_open(bus->request);
        ravd::bus_message message;
        while (bus->bus->receive(message)) {
            // What comes over a connection that never carried a request of ours answers an earlier one, if any.
            if (message.connection == bus->request || bus->bus->has_sent_over(message.connection))
                if (ctree* tree = match_answer(message, answer)) return tree;
            if (now_ms() >= end) return nullptr;
        }
        const long long left = end - now_ms();
        if (!open || left <= 0) return nullptr;
        (void)ravd::sys::wait_readable(bus->bus->descriptor(), static_cast<int>(left));
    }
}

// The device's bus calls over a bus_endpoint.
#include "platform/mbus.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "platform/mbus_row.h"
#include "platform/mbus_wait.h"
#include "platform/monotonic.h"
#include "platform/portable/bus_answer.h"
#include "platform/portable/bus_endpoint.h"
#include "platform/system.h"

struct mbus_endpoint {
    std::unique_ptr<ravd::bus_endpoint> bus;
    std::uint64_t request = 0;  // connection of the last send; 0 when it was not accepted
    std::uint64_t newest = 0;   // of the connections from before the start
    // The last request, where it is short and this end only asks: its connection, kept from an earlier one, may be
    // closed by its module just then.
    std::string text;
    int destination = 0;
    bool polled = false;
    bool in_row = false;
};

namespace {

constexpr std::size_t repeated_limit = 1024;  // bytes of a request

int send(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length, bool more) {
    const std::string_view text(static_cast<const char*>(bytes), length);
    bus->in_row = more;
    return bus->bus->send(destination, text, &bus->request, more) == ravd::bus_result::accepted ? 0 : -1;
}

}  // namespace

mbus_endpoint* mbus_init(int module, const void*, std::size_t) {
    auto bus = ravd::bus_endpoint::open(ravd::sys::device_path("/run/ravd-bus"), module);
    auto* const made = bus ? new mbus_endpoint : nullptr;
    if (made) made->bus = std::move(bus);
    return made;
}

void mbus_release(mbus_endpoint* bus) { delete bus; }

void mbus_set_moduleloop(mbus_endpoint* bus, int value) {
    if (value == 0) mbus_peer_stop(bus);
}

int mbus_get_moduleloop(mbus_endpoint* bus) { return bus->bus->running() ? 1 : 0; }

void mbus_peer_start(mbus_endpoint* bus) {
    (void)(bus->polled ? bus->bus->start_polled() : bus->bus->start_by_calls());
}

void mbus_peer_stop(mbus_endpoint* bus) {
    bus->bus->stop();
    bus->newest = std::max(bus->newest, bus->request);
    bus->request = 0;
}

void* mbus_get_msg_from_queue_no_wait(mbus_endpoint* bus) {
    ravd::bus_message message;
    return bus->bus->receive(message) ? message.block.release() : nullptr;
}

bool mbus_serve_in_waits(mbus_endpoint* bus) { return bus->polled = true; }

bool mbus_wait(mbus_endpoint* bus, int wake_fd, int limit_ms) { return bus->bus->wait_beside(wake_fd, limit_ms); }

int mbus_msg_send(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length) {
    bus->text.assign(static_cast<const char*>(bytes), bus->polled || length > repeated_limit ? 0 : length);
    bus->destination = destination;
    return send(bus, bytes, destination, length, false);
}

int mbus_msg_send_in_row(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length) {
    return send(bus, bytes, destination, length, true);
}

void mbus_end_row(mbus_endpoint* bus) {
    if (bus->in_row) bus->bus->end_rows();
    bus->in_row = false;
}

ctree* mbus_wait_answer(mbus_endpoint* bus, const char* answer, const char*, int timeout) {
    const std::int64_t began_ms = ravd::monotonic_ms();
    ctree* const tree = ravd::wait_bus_answer(*bus->bus, bus->request, answer, timeout);
    const bool kept = bus->request != 0 && bus->request <= bus->newest;
    if (tree || !kept || bus->text.empty() || bus->bus->is_open(bus->request)) return tree;
    timeout -= static_cast<int>((ravd::monotonic_ms() - began_ms) / 100);  // one limit for both
    if (timeout <= 0) return nullptr;
    if (send(bus, bus->text.data(), bus->destination, bus->text.size(), false) != 0) return nullptr;
    return ravd::wait_bus_answer(*bus->bus, bus->request, answer, timeout);
}

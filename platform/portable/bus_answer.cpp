#include "platform/portable/bus_answer.h"

#include <algorithm>
#include <cstring>

#include "platform/ctree.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr int longest_wait = 10000000;  // tenths of a second, so that milliseconds fit an int

// The message as a tree when it is the awaited answer, else null.
ctree* match_answer(const bus_message& message, const char* answer) {
    ctree* tree = ctree_parse_buffer(message.text().data());  // a block ends in a zero byte
    const char* command = ctree_get_param(tree, "command");
    if (command && std::strcmp(command, answer) == 0) return tree;
    ctree_release(tree);
    return nullptr;
}

}  // namespace

ctree* wait_bus_answer(bus_endpoint& bus, std::uint64_t request, const char* answer, int timeout) {
    if (request == 0 || timeout <= 0) return nullptr;
    const std::int64_t end = monotonic_ms() + 100LL * std::min(timeout, longest_wait);
    for (;;) {
        // Looked at before the messages are, so that none that came before the end is missed.
        const bool open = bus.is_open(request);
        bus_message message;
        while (bus.take(message)) {
            // What comes over a connection that never carried a request of ours answers an earlier one, if any.
            if (message.connection == request || bus.has_sent_over(message.connection))
                if (ctree* tree = match_answer(message, answer)) {
                    bus.settle(message.connection);
                    return tree;
                }
            if (monotonic_ms() >= end) return nullptr;
        }
        const std::int64_t left = end - monotonic_ms();
        if (!open || left <= 0) return nullptr;
        // Closed since the look: take() has taken the notice of that, so that nothing would end the wait.
        if (bus.is_open(request)) bus.wait(static_cast<int>(left));
    }
}

}  // namespace ravd

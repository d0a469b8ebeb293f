// The commands that end by themselves.
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/ctree.h"
#include "platform/portable/bus_answer.h"
#include "platform/system.h"
#include "tools/bus/attach.h"

namespace ravd {
namespace {

constexpr int configuration_module = 1;

// Standard input, or a little more than one message of it.
std::string read_input() {
    std::string text;
    char piece[64 * 1024];
    ssize_t n;
    while (text.size() <= mbus_message_limit && (n = ::read(STDIN_FILENO, piece, sizeof piece)) > 0)
        text.append(piece, static_cast<std::size_t>(n));
    return text;
}

// Prints a malloc()ed text and frees it.
int print_text(char* text) {
    const bool printed = text && print(std::string(text) + "\n");
    std::free(text);
    return printed ? 0 : 1;
}

int print_value(const ctree* answer, const std::string& path) {
    if (ctree_get_child_type(answer, "value") == ctree_child_param) {
        const char* value = ctree_get_param(answer, "value");
        return print(std::string(value ? value : "") + "\n") ? 0 : 1;
    }
    if (const ctree* value = ctree_get_subtree(answer, "value")) return print_text(ctree_serialize(value));
    const char* reason = ctree_get_param(answer, "reason");
    complain("no value at " + path + (reason ? std::string(": ") + reason : std::string()));
    return 1;
}

}  // namespace

int send_once(bus_endpoint& bus, const options& chosen) {
    const std::string text = chosen.text == "-" ? read_input() : chosen.text;
    const std::string module = "module " + std::to_string(chosen.destination);
    switch (bus.send(chosen.destination, text)) {
        case bus_result::accepted:
            break;
        case bus_result::too_long:
            complain("the message is longer than 16 MiB");
            return 1;
        default:
            complain("nobody serves " + module);
            return 1;
    }
    for (int waited = 0; bus.unsent() > 0; ++waited) {
        if (waited >= chosen.timeout * 10) {
            complain(module + " does not read");
            return 1;
        }
        sys::sleep_us(10000);
    }
    return 0;
}

int get_value(bus_endpoint& bus, const options& chosen) {
    ctree* request = ctree_get_empty();
    (void)ctree_set_param(request, "command", "get");
    (void)ctree_set_param(request, "path", chosen.text.c_str());
    char* text = ctree_serialize_compact(request);
    ctree_release(request);
    std::uint64_t connection = 0;
    const bus_result sent = bus.send(configuration_module, text ? text : "", &connection);
    std::free(text);
    if (sent != bus_result::accepted) {
        complain("nobody serves module 1, the configuration service");
        return 1;
    }
    ctree* answer = wait_bus_answer(bus, connection, "get-response", chosen.timeout);
    if (!answer) {
        complain("no answer from module 1, the configuration service");
        return 1;
    }
    const int status = print_value(answer, chosen.text);
    ctree_release(answer);
    return status;
}

}  // namespace ravd

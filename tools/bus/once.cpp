// The commands that end by themselves.
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/ctree.h"
#include "platform/portable/bus_answer.h"
#include "platform/system.h"
#include "tools/bus/attach.h"
#include "tools/bus/output.h"

namespace ravd {
namespace {

struct release {
    void operator()(ctree* tree) const { ctree_release(tree); }
    void operator()(char* text) const { std::free(text); }
};
using tree_owner = std::unique_ptr<ctree, release>;
using text_owner = std::unique_ptr<char, release>;

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
    const text_owner owner(text);
    return text && print(std::string(text) + "\n") ? 0 : 1;
}

// Sends a request to the chosen module. Null, after the reason was printed, when no answer comes.
tree_owner ask(bus_endpoint& bus, const options& chosen, const std::string& text, const std::string& answer) {
    const std::string module = "module " + std::to_string(chosen.destination) +
                               (chosen.destination == configuration_module ? ", the configuration service" : "");
    std::uint64_t connection = 0;
    if (bus.send(chosen.destination, text, &connection) != bus_result::accepted) {
        complain("nobody serves " + module);
        return nullptr;
    }
    tree_owner received(wait_bus_answer(bus, connection, answer.c_str(), chosen.timeout));
    if (!received) complain("no answer from " + module);
    return received;
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

int call_once(bus_endpoint& bus, const options& chosen) {
    const std::string text = chosen.text == "-" ? read_input() : chosen.text;
    const tree_owner request(ctree_parse_buffer(text.c_str()));
    const char* command = ctree_get_param(request.get(), "command");
    if (!command) {
        complain("call wants a JSON object with a \"command\"");
        return 2;
    }
    const tree_owner answer = ask(bus, chosen, text, std::string(command) + "-response");
    return answer ? print_text(ctree_serialize(answer.get())) : 1;
}

int get_value(bus_endpoint& bus, const options& chosen) {
    const tree_owner request(ctree_get_empty());
    (void)ctree_set_param(request.get(), "command", "get");
    (void)ctree_set_param(request.get(), "path", chosen.text.c_str());
    const text_owner text(ctree_serialize_compact(request.get()));
    const tree_owner answer = ask(bus, chosen, text ? text.get() : "", "get-response");
    return answer ? print_value(answer.get(), chosen.text) : 1;
}

}  // namespace ravd

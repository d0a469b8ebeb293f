#include "tests/support/fake_bus.h"

#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <set>

#include "platform/ctree.h"
#include "platform/mbus.h"
#include "platform/mbus_row.h"
#include "platform/mbus_wait.h"
#include "platform/system.h"
#include "tests/support/fake_system.h"

struct mbus_endpoint {
    explicit mbus_endpoint(int number) : module(number) {}

    int module;
    int loop = 0;
    std::deque<std::string> inbox;
    std::string last_text;
    int last_destination = -1;
    std::vector<ravd::testing::fake_bus::message> row;  // kept back
};

namespace ravd::testing {
namespace {

std::set<mbus_endpoint*>& registered() {
    static std::set<mbus_endpoint*> endpoints;
    return endpoints;
}

ctree* built_in_answer(const std::string& text) {
    ctree* request = ctree_parse_buffer(text.c_str());
    const char* command = ctree_get_param(request, "command");
    const std::string name = command ? command : "";
    ctree* answer = ctree_get_empty();
    ctree_set_param(answer, "command", (name + "-response").c_str());
    ctree_set_param(answer, "status", "ok");
    if (name == "get") {
        const char* path = ctree_get_param(request, "path");
        const auto& values = fake_bus::get().configuration;
        const auto found = values.find(path ? path : "");
        ctree* tree = found == values.end() ? nullptr : ctree_parse_buffer(found->second.c_str());
        if (tree)
            ctree_insert_child(answer, "value", tree);
        else if (found != values.end())
            ctree_set_param(answer, "value", found->second.c_str());
        else
            ctree_set_param(answer, "status", "error");
        ctree_release(tree);
    }
    ctree_release(request);
    return answer;
}

}  // namespace

fake_bus& fake_bus::get() {
    static fake_bus instance;
    return instance;
}

void fake_bus::reset() { *this = fake_bus(); }
int fake_bus::endpoints() const { return static_cast<int>(registered().size()); }

void fake_bus::deliver(int module, const std::string& text) {
    for (mbus_endpoint* bus : registered())
        if (bus->module == module) bus->inbox.push_back(text);
}

void fake_bus::drop(int module) {
    for (mbus_endpoint* bus : registered())
        if (bus->module == module) bus->loop = 0;
}

int fake_bus::count_sent(const std::string& piece) const {
    int n = 0;
    for (const message& m : sent)
        n += m.text.find(piece) != std::string::npos;
    return n;
}

}  // namespace ravd::testing

using ravd::testing::fake_bus;
using ravd::testing::fake_system;

mbus_endpoint* mbus_init(int module, const void*, std::size_t) {
    if (fake_bus::get().refuse_init) return nullptr;
    auto* bus = new mbus_endpoint(module);
    ravd::testing::registered().insert(bus);
    return bus;
}

void mbus_release(mbus_endpoint* bus) {
    ravd::testing::registered().erase(bus);
    delete bus;
}

void mbus_set_moduleloop(mbus_endpoint* bus, int value) { bus->loop = fake_bus::get().loop_value_sticks ? value : 7; }
int mbus_get_moduleloop(mbus_endpoint* bus) { return bus->loop; }
void mbus_peer_start(mbus_endpoint* bus) { bus->loop = 1; }
void mbus_peer_stop(mbus_endpoint* bus) {
    bus->loop = 0;
    bus->inbox.clear();
    bus->last_destination = -1;
}

bool mbus_serve_in_waits(mbus_endpoint*) { return true; }

bool mbus_wait(mbus_endpoint* bus, int wake_fd, int limit_ms) {
    return ravd::sys::wait_readable(wake_fd, bus->inbox.empty() ? limit_ms : 0) == 1;
}

void* mbus_get_msg_from_queue_no_wait(mbus_endpoint* bus) {
    if (bus->inbox.empty()) return nullptr;
    const std::string text = bus->inbox.front();
    bus->inbox.pop_front();
    auto* block = static_cast<unsigned char*>(std::calloc(1, mbus_header_size + text.size() + 1));
    for (std::size_t i = 0; i < 4; ++i)
        block[mbus_length_offset + i] = static_cast<unsigned char>(text.size() >> (8 * i));
    std::memcpy(block + mbus_header_size, text.data(), text.size());
    return block;
}

int mbus_msg_send(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length) {
    bus->last_destination = -1;
    if (fake_bus::get().absent[destination]) return -1;
    bus->last_destination = destination;
    bus->last_text.assign(static_cast<const char*>(bytes), length);
    mbus_end_row(bus);
    fake_bus::get().sent.push_back({bus->module, destination, bus->last_text});
    return 0;
}

int mbus_msg_send_in_row(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length) {
    bus->row.push_back({bus->module, destination, std::string(static_cast<const char*>(bytes), length)});
    return 0;
}

void mbus_end_row(mbus_endpoint* bus) {
    auto& sent = fake_bus::get().sent;
    sent.insert(sent.end(), bus->row.begin(), bus->row.end());
    bus->row.clear();
}

ctree* mbus_wait_answer(mbus_endpoint* bus, const char* answer, const char*, int timeout) {
    if (bus->last_destination < 0) return nullptr;
    std::optional<std::string> text;
    if (fake_bus::get().on_request) text = fake_bus::get().on_request(bus->last_destination, bus->last_text);
    ctree* tree = text ? ctree_parse_buffer(text->c_str()) : ravd::testing::built_in_answer(bus->last_text);
    const char* command = ctree_get_param(tree, "command");
    if (command && std::strcmp(command, answer) == 0) return tree;
    ctree_release(tree);
    fake_system::get().advance_ms(timeout * 100LL);
    return nullptr;
}

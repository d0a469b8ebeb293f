#include "ipc/ipc_helper.h"

#include <cstring>

#include "core/logger.h"
#include "ipc/request_tree.h"
#include "platform/mbus.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr std::int64_t slow_ms = 500;

constexpr std::int64_t clock_slack_ms = 50;  // a wait that ran its whole time may be measured a little shorter

// False when the answer has no value.
bool read_value(const ctree* answer, std::string& output) {
    if (ctree_get_child_type(answer, "value") == ctree_child_param) {
        const char* text = ctree_get_param(answer, "value");
        if (text) output = text;
        return text != nullptr;
    }
    const ctree_text text(ctree_serialize(ctree_get_subtree(answer, "value")));
    if (text) output = text.get();
    return text != nullptr;
}

}  // namespace

ipc_helper::~ipc_helper() {
    if (bus_) mbus_release(bus_);
}

bool ipc_helper::open_bus() {
    if (!bus_) bus_ = mbus_init(bus_module_requests, bus_registration, sizeof bus_registration);
    return bus_ != nullptr;
}

ctree* ipc_helper::send_request(const ctree* tree, const char* answer, int destination, const char* error_text) {
    if (cancelled() || !tree) return nullptr;
    // What is not read has a neutral value; what is not changed is an order lost. So only reading gives up early.
    const bool reads = destination == bus_module_configuration;
    const std::int64_t began_ms = monotonic_ms();
    ctree* received = nullptr;
    if (!reads || !configuration_.hangs(began_ms)) {
        received = exchange(tree, answer, destination, error_text);
        const std::int64_t now_ms = monotonic_ms();
        if (reads && received)
            configuration_.answered();
        else if (reads && now_ms - began_ms >= timeout_ * 100 - clock_slack_ms)
            configuration_.waited_in_vain(now_ms);
    }
    ++requests_;
    if (!received) ++unanswered_;
    if (monotonic_ms() - began_ms >= slow_ms) ++slow_;
    return received;
}

ctree* ipc_helper::exchange(const ctree* tree, const char* answer, int destination, const char* error_text) {
    if (!open_bus()) return nullptr;
    const ctree_text text(ctree_serialize_compact(tree));
    if (!text) return nullptr;
    tick();
    mbus_peer_start(bus_);
    // A refused send is not told apart: the wait knows of it and ends at once.
    mbus_msg_send(bus_, text.get(), destination, std::strlen(text.get()));
    ctree* received = mbus_wait_answer(bus_, answer, error_text, timeout_);
    mbus_peer_stop(bus_);
    tick();
    return received;
}

int ipc_helper::getconf(const char* path, std::string& output) {
    if (!path || !*path) return -1;
    if (!get_request_) get_request_ = new_request("get");
    ctree_set_param(get_request_.get(), "path", path);
    const ctree_ptr answer(
        send_request(get_request_.get(), "get-response", bus_module_configuration, "Error: can't get config\n"));
    if (answer && read_value(answer.get(), output)) return 0;
    log_error(process_log, "Error: path (%s) reason (not found)\n", path);
    return -1;
}

int ipc_helper::update_corvane(const char* ifname, const param_list& params) {
    if (!ifname || !*ifname || params.empty()) return -1;
    const ctree_ptr request = new_request("update-corvane");
    ctree_set_param(request.get(), "ifname", ifname);
    const ctree_ptr list(ctree_get_empty());
    for (const auto& [key, value] : params)
        ctree_insert_child_string(list.get(), key.c_str(), value.c_str());
    ctree_insert_child(request.get(), "params", list.get());
    const ctree_ptr answer(send_request(request.get(), "update-corvane-response", bus_module_porterd,
                                        "Error: can't update Corvane params\n"));
    if (!answer) {
        log_error(process_log, "Error: no response (%s)\n", "update_corvane");
        return -1;
    }
    if (is_ok(answer.get())) return 0;
    log_error(process_log, "Error: ifname (%s) reason (%s)\n", ifname, reason_of(answer.get()));
    return -1;
}

int ipc_helper::reset_corvane_params(const char* ifname) {
    if (!ifname || !*ifname) return -1;
    const ctree_ptr request = new_request("reset-corvane");
    ctree_set_param(request.get(), "ifname", ifname);
    const ctree_ptr answer(send_request(request.get(), "reset-corvane-response", bus_module_porterd, reset_error_text));
    if (!answer) {
        log_error(process_log, "Error: no response\n");
        return -1;
    }
    if (is_ok(answer.get())) return 0;
    log_error(process_log, "Error: ifname (%s) reason (%s)\n", ifname, reason_of(answer.get()));
    return -1;
}

}  // namespace ravd

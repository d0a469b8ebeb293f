#include "ipc/ipc_helper.h"

#include <cstdio>
#include <cstring>

#include "core/logger.h"
#include "ipc/ctree_ptr.h"
#include "platform/mbus.h"
#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr int radio_count = 2;
constexpr int vaps_a_radio = 7;
constexpr std::int64_t clock_slack_ms = 50;  // a wait that ran its whole time may be measured a little shorter
constexpr const char* reset_error = "Error: can't reset Corvane params\n";

ctree_ptr new_request(const char* command) {
    ctree_ptr request(ctree_get_empty());
    ctree_set_param(request.get(), "command", command);
    return request;
}

bool is_ok(const ctree* answer) {
    const char* status = ctree_get_param(answer, "status");
    return status && std::strcmp(status, "ok") == 0;
}

const char* reason_of(const ctree* answer) {
    const char* reason = ctree_get_param(answer, "reason");
    return reason ? reason : "invalid response";
}

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

void log_tree(const char* format_name, const ctree* tree) {
    if (!debug_enabled()) return;
    const ctree_text text(ctree_serialize(tree));
    if (text) log_debug(process_log, "%s: %s\n", format_name, text.get());
}

}  // namespace

ipc_helper::~ipc_helper() {
    ctree_release(fbt_request_);
    mbus_release(bus_);
}

bool ipc_helper::open_bus() {
    if (!bus_) bus_ = mbus_init(bus_module_requests, bus_registration, sizeof bus_registration);
    return bus_ != nullptr;
}

ctree* ipc_helper::send_request(const ctree* tree, const char* answer, int destination, const char* error_text) {
    if (cancelled() || !tree) return nullptr;
    const bool hangs = hung_.hangs(destination, monotonic_ms());
    ctree* received = hangs ? nullptr : exchange(tree, answer, destination, error_text);
    if (!received) ++unanswered_;
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
    const std::int64_t began_ms = monotonic_ms();
    ctree* received = mbus_wait_answer(bus_, answer, error_text, timeout_);
    const std::int64_t now_ms = monotonic_ms();
    if (received)
        hung_.answered(destination);
    else if (now_ms - began_ms >= timeout_ * 100 - clock_slack_ms)
        hung_.waited_in_vain(destination, now_ms);
    mbus_peer_stop(bus_);
    tick();
    return received;
}

int ipc_helper::getconf(const char* path, std::string& output) {
    if (!path || !*path) return -1;
    const ctree_ptr request = new_request("get");
    ctree_set_param(request.get(), "path", path);
    const ctree_ptr answer(
        send_request(request.get(), "get-response", bus_module_configuration, "Error: can't get config\n"));
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
    const ctree_ptr answer(send_request(request.get(), "reset-corvane-response", bus_module_porterd, reset_error));
    if (!answer) {
        log_error(process_log, "Error: no response\n");
        return -1;
    }
    if (is_ok(answer.get())) return 0;
    log_error(process_log, "Error: ifname (%s) reason (%s)\n", ifname, reason_of(answer.get()));
    return -1;
}

int ipc_helper::send_reset_corvane_fbt(int reason) {
    if (reason != 0 && reason != 2) return 0;
    constexpr const char* place = "__reset_corvane_fbt";
    log_debug(process_log, "%s\n", place);
    const ctree_ptr request = new_request("reset-corvane-fbt");
    const ctree_ptr nothing(ctree_get_empty());
    for (int radio = 0; radio < radio_count; ++radio) {
        for (int vap = 0; vap < vaps_a_radio; ++vap) {
            char name[32];
            std::snprintf(name, sizeof name, "wlan%d-va%d", radio, vap);
            ctree_insert_child(request.get(), name, nothing.get());
        }
    }
    log_debug(process_log, "Try to send reset-corvane-fbt to porterd\n");
    const ctree_ptr answer(send_request(request.get(), "reset-corvane-fbt-response", bus_module_porterd, reset_error));
    if (!answer) {
        log_error(process_log, "Error: no response (%s)\n", place);
        return -1;
    }
    log_tree("reset_corvane_fbt_params", answer.get());
    if (is_ok(answer.get()))
        log_debug(process_log, "Successfully received reset-corvane-fbt-response from porterd\n");
    else
        log_error(process_log, "Error: fail reset-corvane-fbt: reason (%s)\n", reason_of(answer.get()));
    return 0;
}

int ipc_helper::begin_fbt_request() {
    ctree_release(fbt_request_);
    fbt_request_ = new_request("update-corvane-fbt").release();
    return 0;
}

int ipc_helper::add_to_fbt_request(const char* name, const char* text) {
    if (!fbt_request_) return 0;
    const ctree_ptr settings(ctree_parse_buffer(text));
    ctree_insert_child(fbt_request_, name, settings.get());
    return 0;
}

int ipc_helper::send_fbt_request() {
    log_debug(process_log, "Try to send update-corvane-fbt to porterd\n");
    const ctree_ptr answer(send_request(fbt_request_, "update-corvane-fbt-response", bus_module_porterd,
                                        "Error: can't update Corvane fbt params\n"));
    log_tree("set_corvane_fbt_params", fbt_request_);
    ctree_release(fbt_request_);
    fbt_request_ = nullptr;
    if (!answer) {
        log_error(process_log, "Error: no response (%s)\n", "finish_corvane_fbt_params");
        return -1;
    }
    if (is_ok(answer.get()))
        log_debug(process_log, "Successfully received update-corvane-fbt-response from porterd\n");
    else
        log_error(process_log, "Error: can't apply update-corvane-fbt-response reason (%s)\n", reason_of(answer.get()));
    return 0;
}

void ipc_helper::pause_100_ms() { sys::sleep_us(100000); }

}  // namespace ravd

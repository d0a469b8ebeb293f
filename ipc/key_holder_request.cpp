#include "ipc/key_holder_request.h"

#include "core/ifname.h"
#include "core/logger.h"
#include "ipc/request_tree.h"

namespace ravd {
namespace {

constexpr int radio_count = 2;
constexpr int vaps_a_radio = 7;

}  // namespace

int key_holder_request::reset(int reason) {
    if (reason != 0 && reason != 2) return 0;
    constexpr const char* place = "__reset_corvane_fbt";
    log_debug(process_log, "%s\n", place);
    const ctree_ptr request = new_request("reset-corvane-fbt");
    const ctree_ptr nothing(ctree_get_empty());
    for (int radio = 0; radio < radio_count; ++radio)
        for (int vap = 0; vap < vaps_a_radio; ++vap)
            ctree_insert_child(request.get(), make_vap_ifname(radio, vap).c_str(), nothing.get());
    log_debug(process_log, "Try to send reset-corvane-fbt to porterd\n");
    const ctree_ptr answer(
        requests_.send_request(request.get(), "reset-corvane-fbt-response", bus_module_porterd, reset_error_text));
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

void key_holder_request::begin() { fbt_request_ = new_request("update-corvane-fbt"); }

void key_holder_request::add(const char* vap_name, const char* text) {
    if (!fbt_request_) return;
    const ctree_ptr settings(ctree_parse_buffer(text));
    ctree_insert_child(fbt_request_.get(), vap_name, settings.get());
}

int key_holder_request::finish() {
    log_debug(process_log, "Try to send update-corvane-fbt to porterd\n");
    const ctree_ptr answer(requests_.send_request(fbt_request_.get(), "update-corvane-fbt-response", bus_module_porterd,
                                                  "Error: can't update Corvane fbt params\n"));
    log_tree("set_corvane_fbt_params", fbt_request_.get());
    fbt_request_.reset();
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

}  // namespace ravd

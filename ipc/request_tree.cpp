#include "ipc/request_tree.h"

#include <cstring>

#include "core/logger.h"

namespace ravd {

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

void log_tree(const char* name, const ctree* tree) {
    if (!debug_enabled()) return;
    const ctree_text text(ctree_serialize(tree));
    if (text) log_debug(process_log, "%s: %s\n", name, text.get());
}

}  // namespace ravd

// All that a browser can be shown: agents, entries, what was over time. Fed from the running service or from a file.
#pragma once

#include "sim/console/domain_model.h"
#include "sim/console/entry_store.h"
#include "sim/console/history.h"

namespace ravd::sim {

struct page_state {
    domain_model& domain;
    entry_store& entries;
    const load_history& loads;
    const client_history& clients;
    std::int64_t now_ms;
};

// Answers the requests that only look: entries, entry, report, air, history, clients. Null when it is another;
// otherwise the members of the reply, or `error` where there is none to give.
json_ptr answer_query(const page_state& state, const std::string& type, json_object* request, std::string& error);

}  // namespace ravd::sim

// What the page is told, as JSON; docs/console.md says what it means.
#pragma once

#include "sim/common/json.h"
#include "sim/console/domain_model.h"
#include "sim/console/entry_store.h"

namespace ravd::sim {

json_ptr hello_frame(const char* mode, std::int64_t now_ms);
json_ptr bare_frame(const char* type);

// What only the running service knows of a link.
struct link_state {
    bool mute = false;
    bool reading = true;
};
json_ptr agent_frame(const agent_record& who, const link_state& link);
// Of the agent's last report.
json_ptr report_frame(const agent_record& who, const domain_model& domain);
// An object like the frame "message", also for lists of them.
json_ptr entry_object(const entry_head& head);

}  // namespace ravd::sim

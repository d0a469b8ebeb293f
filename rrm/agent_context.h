// What every part of the agent works with.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/activity.h"
#include "core/heap.h"
#include "core/safe_queue.h"
#include "driver/driver_interface.h"
#include "message/json.h"
#include "rrm/agent_timers.h"

namespace ravd {

// For who asks how the agent is.
struct agent_counts {
    std::uint32_t neighbours_set = 0;   // entries of the last 802.11k list
    std::uint32_t key_holders_set = 0;  // VAPs of the last key-holder settings
    std::uint32_t clients_told = 0;
};

// One for all parts, on the worker's thread. What it refers to outlives it.
struct agent_context {
    driver_interface& driver;
    safe_queue& from_service;
    safe_queue& to_service;
    agent_timers& timers;
    activity& progress;
    std::string domain;  // RRM domain in every message
    free_memory memory = {};
    agent_counts counts = {};

    // False when the message is lost, as it is when its link ended while it was made: what the next one carries first
    // is the subscription.
    bool send(const json_writer& message) const;
    // The same for one that is made already; a null one is lost.
    bool send(const std::shared_ptr<buffer_info_t>& message) const;
    // Never above the number of radio names.
    std::int32_t radio_count() const;
    // Calls back with the name of each VAP that has 802.11k/v switched on.
    void for_each_kv_vap(function_ref<void(const char*)> visit) const;
    // Empties the 802.11k lists of those VAPs.
    void remove_neighbour_reports() const;
};

// A message to the service: the envelope and the domain.
class agent_message final : public json_writer {
  public:
    agent_message(const agent_context& context, const char* cmd)
        : json_writer("rrm", cmd, context.driver.get_base_mac()) {
        add_string("domain", context.domain.c_str());
    }
};

}  // namespace ravd

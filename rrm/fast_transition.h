// Fast BSS transition: the service's key-holder settings, handed to the network daemon per VAP.
#pragma once

#include <cstddef>

#include "rrm/agent_context.h"
#include "rrm/configuration.h"

namespace ravd {

class fast_transition {
  public:
    fast_transition(agent_context& context, const configuration& settings) : context_(context), settings_(settings) {}

    // "fbt-info"
    void process_fbt_info(const json_reader& message);

  private:
    bool add_fbt_vap(const json_reader& entry);
    void add_fbt_remotes(const json_reader& remotes, const char* rrb_key, json_writer& parent);

    agent_context& context_;
    const configuration& settings_;
    std::int32_t fbt_reassoc_deadline_ = 1000;
    bool fbt_over_ds_ = true;
    std::size_t request_bytes_ = 0;  // of the request under construction, what was replaced within it included
};

}  // namespace ravd

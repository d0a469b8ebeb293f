// Steering of clients away from an overloaded radio by BSS transition requests.
#pragma once

#include <map>

#include "rrm/agent_context.h"
#include "rrm/configuration.h"

namespace ravd {

class load_balancing {
  public:
    // `settings` fills the custom neighbour lists.
    load_balancing(agent_context& context, configuration& settings) : context_(context), settings_(settings) {}

    // "rrm-sta-overload"
    void on_sta_overload(const json_reader& message);

  private:
    using sta_candidates = std::multimap<std::int32_t, rrm_sta_s>;  // by RSSI, the weakest first

    void roam_weakest(std::int32_t radio, std::int32_t roam_count, const char* ap_mac);
    void collect_roam_candidate(const rrm_sta_s& station, sta_candidates& candidates);

    agent_context& context_;
    configuration& settings_;
};

}  // namespace ravd

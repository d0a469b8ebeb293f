// What the service decides, applied to the radios: power, channel, roam timeout, neighbour lists.
#pragma once

#include "rrm/agent_context.h"
#include "rrm/order_check.h"

namespace ravd {

class configuration {
  public:
    configuration(agent_context& context, order_check& orders) : context_(context), orders_(orders) {}

    // The "config" of an accepted subscription, or an "rrm-info".
    void apply_config(const json_reader& config);
    // Adds the entries of "802dot11k" to the 802.11k lists, or to the custom lists.
    void apply_neighbour_list(const json_reader& message, bool custom);

    // The service's switches; off until it says otherwise.
    bool use_80211v() const { return use_80211v_; }
    bool use_80211r() const { return use_80211r_; }

  private:
    void apply_radio(const json_reader& entry, bool use_tpc, bool use_dca);

    agent_context& context_;
    order_check& orders_;
    bool use_80211v_ = false;
    bool use_80211r_ = false;
};

}  // namespace ravd

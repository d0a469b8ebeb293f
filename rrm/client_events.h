// What happens to clients, told to the service: events of the network daemon and of a driver.
#pragma once

#include "rrm/agent_context.h"
#include "rrm/configuration.h"
#include "rrm/life_state.h"
#include "rrm/radio_report.h"

namespace ravd {

class client_events {
  public:
    client_events(agent_context& context, const life_state& state, const configuration& settings, radio_report& report)
        : context_(context), state_(state), settings_(settings), report_(report) {}

    // A "wifi-client-trap" of the network daemon.
    void on_client_event(const json_reader& trap);
    // A roam, or a changed configuration, that a driver's event wait delivers.
    void on_driver_event(const driver_event_desc& event);

  private:
    agent_context& context_;
    const life_state& state_;
    const configuration& settings_;
    radio_report& report_;
};

}  // namespace ravd

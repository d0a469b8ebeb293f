// The agent's life: what happens to hostapd, to the link and to the subscription, and what is done about it.
#pragma once

#include "rrm/agent_context.h"
#include "rrm/configuration.h"
#include "rrm/life_state.h"
#include "rrm/radio_report.h"
#include "rrm/scan_session.h"
#include "rrm/station_tables.h"
#include "rrm/subscription.h"

namespace ravd {

enum class life_event {
    hostapd_announced,  // it has started or restarted
    hostapd_gone,       // its pid file went away after it was announced
    watch_ended,        // it did not come back, or the process ends
    config_updated,     // the device's configuration changed
    refill_due,         // the table of radios is to be filled again
    link_up,
    link_down,
    accepted,  // answers to the subscription: "success",
    busy,      // come back later,
    refused,   // any other
    retry_due,
    old_version,  // the service speaks a protocol that is too old
};

// What the actions work on.
struct life_parts {
    agent_context& context;
    configuration& settings;
    radio_report& report;
    station_tables& stations;
    scan_session& scans;
    subscription& service;
};

// Holds the one table of states, events and actions. Only on the worker's thread.
class agent_life {
  public:
    agent_life(life_state& state, const life_parts& parts) : state_(state), parts_(parts) {}

    // `message` is the service's, for the events that come from one; else null. The state changes after the action.
    void handle(life_event event, const json_reader* message = nullptr);
    const life_state& state() const { return state_; }

  private:
    void enter(hostapd_state next);
    void enter(link_state next);

    life_state& state_;
    const life_parts parts_;
};

}  // namespace ravd

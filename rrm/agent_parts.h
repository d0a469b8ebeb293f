// The parts of the agent, put together.
#pragma once

#include "rrm/agent_context.h"
#include "rrm/agent_life.h"
#include "rrm/client_events.h"
#include "rrm/configuration.h"
#include "rrm/fast_transition.h"
#include "rrm/hostapd_watch.h"
#include "rrm/load_balancing.h"
#include "rrm/order_check.h"
#include "rrm/radio_report.h"
#include "rrm/scan_session.h"
#include "rrm/station_tables.h"
#include "rrm/subscription.h"

namespace ravd {

// Each part owns its state and sees those before it. Only on the worker's thread.
struct agent_parts {
    agent_parts(driver_interface& driver, safe_queue& from_service, safe_queue& to_service, agent_timers& timers,
                activity& progress, const char* domain)
        : context{driver, from_service, to_service, timers, progress, domain} {}
    agent_parts(const agent_parts&) = delete;
    agent_parts& operator=(const agent_parts&) = delete;

    agent_context context;
    life_state state;
    order_check orders{context};
    configuration settings{context, orders};
    radio_report report{context, state, settings};
    station_tables stations{context};
    scan_session scans{context, report};
    load_balancing balancing{context, settings};
    fast_transition transition{context, settings};
    subscription service{context, settings, report};
    agent_life life{state, {context, settings, report, stations, scans, service}};
    hostapd_watch watch{life};
    client_events clients{context, state, settings, report};
};

}  // namespace ravd

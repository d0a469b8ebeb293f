// The subscription to the service: requests with back-off, the answer, the farewell.
#pragma once

#include <string>

#include "rrm/agent_context.h"
#include "rrm/configuration.h"
#include "rrm/radio_report.h"

namespace ravd {

class subscription {
  public:
    subscription(agent_context& context, configuration& settings, radio_report& report);

    // A first request, with the retries that follow it.
    void subscribe_now();
    // Timer 2: asks again, and later the next time.
    void retry_subscribe();
    // The service asks to come back later.
    void wait_longer();
    // "success": takes the domain, applies "config", leaves the marker file.
    void accepted(const json_reader& response);
    // Of a service that speaks an older protocol: no further connection is made.
    void send_unsubscribe();
    void send_disassoc_all_clients();

    void remove_marker();

  private:
    void send_subscribe_request();
    void double_backoff();
    void add_factory_info(json_writer& message);

    agent_context& context_;
    configuration& settings_;
    radio_report& report_;
    std::int32_t subscribe_backoff_;  // seconds
    const std::string marker_;        // exists while the agent is subscribed
};

}  // namespace ravd

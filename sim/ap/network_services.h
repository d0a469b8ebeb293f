// What the other daemons of the access point do for the agent: the configuration service, the network daemon, and the
// peer that receives what the agent's IPC worker sends and that tells client events.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>

#include "sim/ap/access_point.h"
#include "sim/ap/bus_service.h"
#include "sim/ap/stations.h"

namespace ravd::sim {

// Bus modules.
constexpr int module_configuration = 1;
constexpr int module_peer = 3;
constexpr int module_porterd = 6;
constexpr int module_agent = 31;

// "get": the value at a path, a text or a sub-tree.
class configuration_service {
  public:
    configuration_service(const access_point& ap, const event_log& log) : ap_(ap), log_(log) {}
    std::string answer(const std::string& command, json_object* request) const;

  private:
    const access_point& ap_;
    const event_log& log_;
};

// Applies what the agent asks for: into the configuration, to the radio, and then tells that the configuration changed.
class network_daemon {
  public:
    network_daemon(access_point& ap, const event_log& log, std::function<void()> changed)
        : ap_(ap), log_(log), changed_(std::move(changed)) {}
    std::string answer(const std::string& command, json_object* request);

  private:
    // Each: empty, or the reason of a refusal.
    std::string update(json_object* request);
    std::string reset(json_object* request);
    std::string update_fbt(json_object* request);
    std::string reset_fbt(json_object* request);
    radio_state* radio_named_in(json_object* request);

    access_point& ap_;
    const event_log& log_;
    std::function<void()> changed_;
    // What the agent's settings replaced: path to the value before, to be put back by a reset.
    std::map<std::string, std::string> before_;
    std::set<std::string> fbt_vaps_;  // with fast-transition settings of the service
};

// Text of a client event as the peer sends it to the agent.
std::string client_event_text(const client_event& event);

}  // namespace ravd::sim

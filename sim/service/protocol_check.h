// Compares what an agent sends with the protocol: members, their order, their types and fixed values.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"

namespace ravd::sim {

// Messages that agents send.
bool is_agent_message(const std::string& cmd);
// Those that only a subscribed agent sends.
bool needs_subscription(const std::string& cmd);

// What is wrong with a message from an agent, each with the place, as in "radios[0].power: an integer is needed, not a
// string". Empty when it is clean; at most 20 faults and a line for the rest.
std::vector<std::string> check_message(json_object* message);

// The same for what the service sends, whose members may stand anywhere. A message of another name is not judged.
std::vector<std::string> check_order_members(json_object* message);

}  // namespace ravd::sim

// What a page asks the running service to do. Each gives the members of its reply, or null with the reason in `error`.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/lab.h"

namespace ravd::sim {

// The agents that a request names: an array "agents", or "all". None when it names none; false when one is not there.
bool asked_agents(lab& service, json_object* request, std::vector<unsigned>& agents, std::string& error);

json_ptr answer_order(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error);
json_ptr answer_preview(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error);
json_ptr answer_raw(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error);
json_ptr answer_fault(lab& service, json_object* request, const std::vector<unsigned>& agents, std::string& error);

}  // namespace ravd::sim

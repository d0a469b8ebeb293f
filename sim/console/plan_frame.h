// The plan of the domain for the page, and what the page asks of it.
#pragma once

#include <string>

#include "sim/console/domain_model.h"
#include "sim/service/plan_desk.h"

namespace ravd::sim {

json_ptr plan_frame(const plan_session& session, const domain_model& domain);

// Members of the reply, or null with the reason in `error`.
json_ptr answer_plan(plan_desk& desk, json_object* request, std::string& error);

}  // namespace ravd::sim

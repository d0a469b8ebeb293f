// The commands of the user: orders of the protocol and what is done to the link itself.
#pragma once

#include <string>

#include "sim/service/console.h"

namespace ravd::sim {

class lab;

// Runs one line. Never throws; what is wrong stands in the reply.
line_result run_command(lab& service, const std::string& line);

}  // namespace ravd::sim

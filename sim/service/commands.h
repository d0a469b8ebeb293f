// The commands of the user: orders of the protocol and what is done to the link itself.
#pragma once

#include <string>
#include <vector>

#include "sim/service/console.h"

namespace ravd::sim {

class lab;

// All words that a line may begin with.
std::vector<std::string> command_words();
// What may stand behind what is typed already, as far as the service knows: words, agents, radios, channels, messages.
std::vector<std::string> what_fits(lab& service, const std::string& before);
// Runs one line. Never throws; what is wrong stands in the reply.
line_result run_command(lab& service, const std::string& line);

}  // namespace ravd::sim

// What the user sees: tables, a chart, one line per message.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {

// All end without a line end.
std::string radio_table(const std::vector<radio_view>& radios);
std::string client_table(const std::vector<radio_view>& radios);
// The loudest first, at most `rows`.
std::string environment_table(const std::vector<reported_bss>& heard, std::size_t rows = 40);
// One bar per channel: how much of its air is taken, how many BSSs are on it and how loud the loudest is.
std::string occupancy_chart(const std::vector<radio_view>& radios, const std::vector<reported_bss>& heard);

// "1.62"
std::string two_digits(double value);

// A readable form of a message from an agent.
std::string present_message(json_object* message);

}  // namespace ravd::sim

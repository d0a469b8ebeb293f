// The commands of ravd-bus.
#pragma once

#include <memory>

#include "platform/portable/bus_endpoint.h"
#include "tools/bus/options.h"

namespace ravd {

// Moves lines and messages until the input ends or a signal comes. The exit status.
int attach(bus_endpoint& bus, const options& chosen);

// One message; one configuration value. The exit status.
int send_once(bus_endpoint& bus, const options& chosen);
int get_value(bus_endpoint& bus, const options& chosen);

// One line on standard error, after the program's name.
void complain(const std::string& text);
// Writes all bytes to standard output; false when it is closed or a signal came.
bool print(const std::string& text);

}  // namespace ravd

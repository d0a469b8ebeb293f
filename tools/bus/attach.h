// The commands of ravd-bus.
#pragma once

#include <memory>

#include "platform/portable/bus_endpoint.h"
#include "tools/bus/options.h"

namespace ravd {

// Moves lines and messages until the input ends or a signal comes. The exit status.
int attach(bus_endpoint& bus, const options& chosen);

// One message; one request and its answer; one configuration value. The exit status.
int send_once(bus_endpoint& bus, const options& chosen);
int call_once(bus_endpoint& bus, const options& chosen);
int get_value(bus_endpoint& bus, const options& chosen);

// Without an endpoint of their own: who is there; what passes some modules, until a signal comes. The exit status.
int list_modules(const options& chosen);
int monitor(const options& chosen);

}  // namespace ravd

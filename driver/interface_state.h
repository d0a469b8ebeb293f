// State of network interfaces as /sys/class/net shows it.
#pragma once

namespace ravd {

// Administratively up (IFF_UP). False, with an error in the log, when its flags cannot be read.
bool interface_is_up(const char* ifname);

// The interface is there.
bool is_if_exists(const char* ifname);

}  // namespace ravd

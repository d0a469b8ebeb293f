// The driver's variables ("MIBs"): some follow from the radio's state, others are set and read back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/ap/access_point.h"

namespace ravd::sim {

// Value of a variable of an interface; nothing when the driver does not know it.
std::optional<std::int32_t> get_mib(const access_point& ap, const radio_state& radio, const std::string& ifname,
                                    const std::string& name);
// Sets one; "rrm_scan_started" set to 0 stops the radio's scan. False when the driver does not know it, or it only
// tells.
bool set_mib(radio_state& radio, const std::string& ifname, const std::string& name, const std::string& value,
             std::int64_t now_ms);

}  // namespace ravd::sim

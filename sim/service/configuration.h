// The parts of orders that have a structure of their own: radio settings, neighbours, fast transition.
#pragma once

#include <string>
#include <vector>

#include "sim/service/arguments.h"
#include "sim/service/json_value.h"

namespace ravd::lab {

// One radio of a configuration; -1 and "" leave the member out.
struct radio_setting {
    int id = 0;
    int channel = -1;
    int bandwidth = -1;
    std::string primary;
    int power = -1;
    int roam_timeout = -1;
};

// Adds the members of "rrm-info". `use_80211v` is what stands when the arguments do not say, and takes their value.
bool add_configuration(json_object* message, const std::vector<argument>& args, bool& use_80211v, std::string& error);
json_ptr radio_array(const std::vector<radio_setting>& radios);

// A "802dot11k" array: from one file name or JSON array, or from "MAC,CHANNEL,PRIORITY,SSID=BSSID..." per neighbour.
json_ptr neighbour_list(const std::vector<argument>& args, std::string& error);

// Adds the members of "fbt-info".
bool add_fast_transition(json_object* message, const std::vector<argument>& args, std::string& error);

}  // namespace ravd::lab

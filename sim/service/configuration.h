// The parts of orders that have a structure of their own: radio settings, neighbours, fast transition.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/arguments.h"

namespace ravd::sim {

// One radio of a configuration; -1 and "" leave the member out.
struct radio_setting {
    int id = 0;
    int channel = -1;
    int bandwidth = -1;
    std::string primary;
    int power = -1;
    int roam_timeout = -1;
};

// What an "rrm-info" sets. A switch of -1 is left out.
struct configuration {
    std::vector<radio_setting> radios;
    int use_dca = -1;
    int use_tpc = -1;
    int use_80211v = 0;
    int use_80211r = -1;
    json_ptr neighbours;  // a "802dot11k" array, or null
};

// Takes the arguments; what they do not name stays. A radio's channel switches use-dca on and its power use-tpc, unless
// they are named.
bool read_configuration(const std::vector<argument>& args, configuration& out, std::string& error);
// Adds the members to a message.
void put_configuration(json_object* message, configuration settings);

// A "802dot11k" array: from one file name or JSON array, or from "MAC,CHANNEL,PRIORITY,SSID=BSSID..." per neighbour.
json_ptr neighbour_list(const std::vector<argument>& args, std::string& error);

// Adds the members of "fbt-info".
bool add_fast_transition(json_object* message, const std::vector<argument>& args, std::string& error);

}  // namespace ravd::sim

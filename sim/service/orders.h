// The messages of the service, built from short commands.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/arguments.h"
#include "sim/service/configuration.h"

namespace ravd::sim {

// What an order needs to know of the agent it goes to.
struct order_context {
    std::string ap_mac;       // empty until the agent said it
    bool use_80211v = false;  // last value sent: every configuration repeats it, since leaving it out clears it
    std::string default_domain;
    std::string default_config;  // JSON text of the "config" object of a subscription answer
};

struct order {
    const char* word;
    const char* usage;  // arguments
    const char* help;
    // Null with the reason in `error` when the arguments are wrong.
    json_ptr (*build)(order_context& context, const std::vector<argument>& args, std::string& error);
};

const std::vector<order>& order_table();
const order* find_order(const std::string& word);

// An object with "version" "2.4", "service" "rrm", `cmd` and, when not empty, "ap-mac".
json_ptr envelope(const char* cmd, const std::string& ap_mac);
// "rrm-update": channels as in "1 6 11"; an active scan, or one RRM round.
json_ptr scan_message(const order_context& context, const std::string& channels, int delay, bool rrm);
// "rrm-info".
json_ptr configuration_message(order_context& context, configuration settings);
// "rrm-request-mode".
json_ptr mode_message(const order_context& context);
// A successful or refusing "subscribe-response". Code 0 is success.
json_ptr subscribe_response(const order_context& context, int code, std::string& error);

}  // namespace ravd::sim

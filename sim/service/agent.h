// One connected agent as the service sees it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/orders.h"
#include "sim/service/pilot.h"
#include "sim/service/radio_view.h"
#include "sim/service/scan_progress.h"

namespace ravd::sim {

// How the next subscriptions are answered.
struct subscription_policy {
    bool silent = false;
    int refuse_code = 0;      // 0: success
    bool refuse_once = true;  // the refusal is for one request only
};

struct agent {
    unsigned number = 0;
    std::string peer;
    std::string sub_protocol;
    std::string path;
    order_context orders;  // holds the ap-mac
    std::string domain;
    bool subscribed = false;
    std::uint64_t violations = 0;
    std::map<std::string, std::uint64_t> received;  // per cmd; unknown ones together as "other"
    std::vector<radio_view> radios;                 // last description, with the clients as they came and went since
    double last_heard = 0;                          // monotonic seconds
    std::vector<reported_bss> environment;          // last report
    scan_progress scan;
    std::unique_ptr<pilot> autopilot;
    bool pilot_counted = false;  // its result entered the totals

    // The agent mode's messages; anything else is shown and not checked.
    bool speaks_rrm() const { return sub_protocol != "websock-roaming"; }
    std::string name() const {
        return "agent " + std::to_string(number) + (orders.ap_mac.empty() ? "" : " " + orders.ap_mac);
    }
};

}  // namespace ravd::sim

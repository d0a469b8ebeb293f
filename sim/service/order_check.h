// What is wrong with an order, before it is sent.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {

struct order_judgement {
    std::string fault;                  // why it should not be sent; empty when nothing is wrong
    std::vector<std::string> warnings;  // what it does that may not be meant
};

// Against the protocol and against the radios as the agent described them last; without a description only against the
// protocol. Messages of names that are no orders are not judged.
order_judgement judge_order(json_object* message, const std::vector<radio_view>& radios);

}  // namespace ravd::sim

// Whether the radios do what the service ordered.
#pragma once

#include <array>
#include <cstdint>

#include "core/ifname.h"
#include "rrm/agent_context.h"

namespace ravd {

class status_page;

// Remembers what was ordered, and reads it back once the network daemon has had time to apply it. Only on the worker's
// thread.
class order_check {
  public:
    explicit order_check(agent_context& context) : context_(context) {}

    // `bandwidth` in MHz, `power` in the driver's unit. `radio` is below the number of radio names.
    void ordered_channel(std::int32_t radio, int channel, int bandwidth);
    void ordered_power(std::int32_t radio, int power);
    // Its timer: compares. A difference is one warning. A radio that is down, or a scan, which visits other channels,
    // says nothing: later.
    void compare();

    // What was ordered and what was read back, a member for each radio with an order.
    void describe(status_page& page) const;

  private:
    struct setting {
        int channel = 0;    // 0: nothing
        int bandwidth = 0;  // MHz
        int power = 0;      // 0: nothing
    };
    struct radio_order {
        setting ordered;
        setting found;
        bool due = false;
        bool compared = false;
    };

    void watch(radio_order& order);
    void compare(std::int32_t radio, radio_order& order);

    agent_context& context_;
    std::array<radio_order, radio_names.size()> orders_;
};

}  // namespace ravd

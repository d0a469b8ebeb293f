// Where an ordered scan should be. An agent tells of a scan only once it is over, so this goes by the durations that
// the protocol names and the time that has passed.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {

class scan_progress {
  public:
    // An "rrm-update" went out. `radios`: as the agent described them last. `now`: monotonic seconds, as everywhere
    // here.
    void ordered(json_object* message, const std::vector<radio_view>& radios, double now);
    // Its report came; an order that had to wait for the end begins. What to say of it; empty when none was expected.
    std::string reported(double now);
    // hostapd stopped, and every scan with it. Empty when none was on its way.
    std::string given_up();
    // The scan that is on its way, for those who draw it.
    struct state {
        double begun = 0;  // when its delay began; the rest are seconds and counts
        int delay = 0;
        int rounds = 0;
        int round_length = 0;
        int report_delay = 0;
        std::size_t waiting = 0;  // orders behind it
    };
    std::optional<state> current() const;
    // What to say when the scan should have come further since the last call, otherwise empty.
    std::string turn(double now);

  private:
    struct scan {
        int delay = 0;  // seconds, like the others
        int rounds = 5;
        int round_length = 0;
        int report_delay = 0;
    };
    void begin(const scan& next, double now);
    std::string stage(int number) const;

    std::deque<scan> orders_;  // the first one is on its way
    double begun_ = 0;         // when its delay began
    int said_ = -1;            // number of the last stage told: 0 the delay, then the rounds, the report, its absence
};

}  // namespace ravd::sim

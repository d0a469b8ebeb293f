// The agent's one-shot timers.
#pragma once

#include <cstdint>

namespace ravd {

// Whole seconds of the monotonic clock; what each does when it is due is wired in rrm_worker.
enum timer_id : std::int32_t {
    timer_launch_scan,
    timer_scan_finished,
    timer_subscribe,
    timer_rrm_response,
    timer_probe_response,
    timer_config_changed,
    timer_blocked,
    timer_refill,
    timer_order_check,
    timer_count
};

// Implemented by the worker. Only on its thread.
class agent_timers {
  public:
    // Adds to what is armed already under the same id.
    virtual void arm(timer_id id, std::int64_t delay_s) = 0;
    virtual void cancel(timer_id id) = 0;

  protected:
    ~agent_timers() = default;
};

// All but the refilling of the table and the look at orders, which go on whatever becomes of the link.
inline void cancel_all_timers(agent_timers& timers) {
    for (const timer_id id : {timer_launch_scan, timer_scan_finished, timer_subscribe, timer_rrm_response,
                              timer_probe_response, timer_blocked, timer_config_changed})
        timers.cancel(id);
}

}  // namespace ravd

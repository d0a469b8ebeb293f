// The agent's worker: takes messages off its queues, routes them to the parts of the agent, and runs their timers.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/safe_queue.h"
#include "core/worker.h"
#include "driver/driver_interface.h"
#include "rrm/agent_parts.h"
#include "rrm/idle_wait.h"

namespace ravd {

// Everything but start and join runs on the worker's own thread. Shares the queues and the driver with nobody else
// on their side; the driver, the queues and the run flag must outlive it.
class rrm_worker final : public abstract_worker, private agent_timers {
  public:
    // `domain` is the RRM domain until the service names another. From here to the destructor the driver's requests use
    // this worker's clock and run flag.
    rrm_worker(const run_flag* running, driver_interface& driver, const char* domain, safe_queue& from_service,
               safe_queue& to_service, safe_queue& from_bus, safe_queue& to_bus);
    // After join.
    ~rrm_worker() override;

    // Ready when hostapd's pid file exists.
    bool init() override;
    // One step: due timers, at most one message of each queue, the driver's event wait, which rests while there is
    // nothing to do.
    bool process() override;
    void deinit() override;
    bool is_alive(const run_flag* running) override;

    // Handles one message of any inbound queue. True: it has to wait until no scan runs.
    bool on_service_message(const std::shared_ptr<buffer_info_t>& message);

    // Where the agent stands.
    const life_state& state() const { return parts_.state; }
    station_tables& stations() { return parts_.stations; }
    scan_session& scans() { return parts_.scans; }

  private:
    std::string describe_status() override;
    void arm(timer_id id, std::int64_t delay_s) override;  // with the id's own callback
    void cancel(timer_id id) override;
    void drop_unread();
    void rest();
    void handle_or_defer(const std::shared_ptr<buffer_info_t>& message);
    void route_link_event(const char* cmd);
    void run_command(const json_reader& message, const char* cmd);

    driver_interface& driver_;
    safe_queue& from_service_;
    safe_queue& from_bus_;
    [[maybe_unused]] safe_queue& to_bus_;  // only held: nothing is sent into it
    safe_queue pending_;                   // messages of the service that wait for the end of a scan
    agent_parts parts_;
    std::array<callback, timer_count> timer_callbacks_;
    idle_wait idle_;
    const driver_interface::event_callback driver_event_callback_;
    const driver_interface::rest_callback rest_callback_;
};

}  // namespace ravd

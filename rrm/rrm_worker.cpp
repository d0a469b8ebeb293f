#include "rrm/rrm_worker.h"

#include <vector>

#include "core/logger.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr std::uint32_t restart_delay_us = 300000;
constexpr int idle_wait_ms = 1000;

}  // namespace

rrm_worker::rrm_worker(const run_flag* running, driver_interface& driver, const char* domain, safe_queue& from_service,
                       safe_queue& to_service, safe_queue& from_bus, safe_queue& to_bus)
    : abstract_worker(running, "rrm", 0, restart_delay_us),
      driver_(driver),
      from_service_(from_service),
      from_bus_(from_bus),
      to_bus_(to_bus),
      parts_(driver, from_service, to_service, *this, progress(), domain),
      idle_(event_fd()),
      driver_event_callback_([this](const driver_event_desc& event) {
          parts_.report.forget_reading();
          parts_.clients.on_driver_event(event);
      }),
      rest_callback_([this] { rest(); }) {
    timer_callbacks_[timer_launch_scan] = [this] { parts_.scans.launch_scan(); };
    timer_callbacks_[timer_scan_finished] = [this] { parts_.scans.scan_finished(); };
    timer_callbacks_[timer_subscribe] = [this] { parts_.life.handle(life_event::retry_due); };
    timer_callbacks_[timer_rrm_response] = [this] { parts_.scans.rrm_response_due(); };
    timer_callbacks_[timer_probe_response] = [this] { parts_.stations.post_rrm_probe_response(); };
    timer_callbacks_[timer_config_changed] = [this] { parts_.report.config_changed_due(); };
    timer_callbacks_[timer_blocked] = [this] { parts_.stations.count_blocked_down(); };
    timer_callbacks_[timer_refill] = [this] { parts_.life.handle(life_event::refill_due); };
    timer_callbacks_[timer_order_check] = [this] { parts_.orders.compare(); };
    driver_.set_activity(&progress());
    from_service_.set_notify([this] { wake(); });
    from_bus_.set_notify([this] { wake(); });
}

rrm_worker::~rrm_worker() {
    from_service_.set_notify({});
    from_bus_.set_notify({});
    // The thread has ended; this one must not read the worker's clock, whose last reading may be old by now.
    driver_.set_activity(nullptr);
    log_debug(process_log, "rrm_worker: stop\n");
    cancel_all_timers(*this);
    parts_.scans.clear_results();
    parts_.stations.clear();
    parts_.context.remove_neighbour_reports();
    driver_.stop_all();
    driver_.reset_context();
    parts_.service.remove_marker();
}

bool rrm_worker::init() {
    run_timers();
    if (!parts_.watch.pid_file_exists()) return false;
    log_debug(process_log, "Connected to hostapd\n");
    drop_unread();
    return true;
}

// Nobody read during the wait for hostapd. What became of the link meanwhile counts; a night's orders do not, nor those
// that a scan deferred before: hostapd's end was the end of that scan.
void rrm_worker::drop_unread() {
    std::vector<std::shared_ptr<buffer_info_t>> link_events;
    const auto leaves = [&link_events](const std::shared_ptr<buffer_info_t>& message) {
        if (message && message->internal) link_events.push_back(message);
        return true;
    };
    const auto all = [](const auto&) { return true; };
    const std::size_t unread = from_service_.remove_if(leaves) + from_bus_.remove_if(all) + pending_.remove_if(all);
    for (const auto& event : link_events)
        on_service_message(event);
    if (const std::size_t dropped = unread - link_events.size())
        log_warning(process_log, "%zu orders and client events came while hostapd was away: they are dropped\n",
                    dropped);
}

bool rrm_worker::process() {
    if (run_timers()) parts_.report.forget_reading();
    parts_.scans.look_for_end();
    from_service_.pop([this](const auto& message) {
        parts_.report.next_message(from_service_.size());
        handle_or_defer(message);
    });
    from_bus_.pop([this](const auto& message) {
        parts_.report.forget_reading();
        handle_or_defer(message);
    });
    if (!driver_.is_scanning()) {
        pending_.pop([this](const auto& message) {
            log_debug(process_log, "From pended\n");
            parts_.report.forget_reading();
            on_service_message(message);
        });
    }
    driver_.short_sleep(driver_event_callback_, rest_callback_);
    return true;
}

// A step takes one message of each queue: what is left waits for nothing.
void rrm_worker::rest() {
    const bool deferred = pending_.size() != 0 && !driver_.is_scanning();
    if (deferred || from_service_.size() != 0 || from_bus_.size() != 0) return;
    parts_.report.forget_reading();
    parts_.context.memory.rest(monotonic_ms());
    idle_.rest(until_next_timer_ms(idle_wait_ms), driver_.event_descriptor());
}

void rrm_worker::deinit() {
    log_debug(process_log, "Disconnected from hostapd\n");
    parts_.watch.end(now_s());
}

bool rrm_worker::is_alive(const run_flag* running) {
    if (!running->load(std::memory_order_relaxed)) return false;
    // First, so that nothing that was meant for an old link is sent over a new one.
    while (from_service_.pop_if([](const auto& message) { return message && message->internal; },
                                [this](const auto& event) { on_service_message(event); })) {
    }
    return parts_.watch.check_notifications(now_s());
}

void rrm_worker::handle_or_defer(const std::shared_ptr<buffer_info_t>& message) {
    if (!on_service_message(message)) return;
    log_debug(process_log, "Pending message for delayed processing\n");
    if (!pending_.push(message))
        log_warning(process_log, "An order is not carried out: too many wait for the end of a scan\n");
}

void rrm_worker::arm(timer_id id, std::int64_t delay_s) {
    add_timer(timer_callbacks_[static_cast<std::size_t>(id)], id, delay_s);
}

void rrm_worker::cancel(timer_id id) { remove_timers(id); }

}  // namespace ravd

// The worker's hooks, its timers, and the watch over hostapd and the notification files.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "core/logger.h"
#include "platform/system.h"
#include "rrm/rrm_worker.h"
#include "rrm/tables.h"

namespace ravd {
namespace {

constexpr std::uint32_t restart_delay_us = 300000;

bool exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// Whether a notification was there. One that cannot be removed (a directory in its place) does not count: it would be
// found again on every step. A link is removed itself, never what it points to.
bool take_notification(const std::string& path) { return unlink(path.c_str()) == 0; }

}  // namespace

rrm_worker::rrm_worker(const run_flag* running, driver_interface& driver, const char* domain, safe_queue& from_service,
                       safe_queue& to_service, safe_queue& from_bus, safe_queue& to_bus)
    : abstract_worker(running, "rrm", 0, restart_delay_us),
      driver_(driver),
      domain_(domain),
      from_service_(from_service),
      to_service_(to_service),
      from_bus_(from_bus),
      to_bus_(to_bus),
      probe_tables_(static_cast<std::size_t>(radio_count())),
      blocked_tables_(probe_tables_.size()),
      driver_event_callback_([this](const driver_event_desc& event) { on_driver_event(event); }),
      files_{sys::device_path("/var/run/hostapd.pid"),
             sys::device_path("/tmp/.corvane_notify"),
             sys::device_path("/tmp/.corvane_notify_hostapd_started"),
             sys::device_path("/tmp/.corvane_notify_scoutd_started"),
             sys::device_path("/tmp/.corvane_notify_config_updated"),
             sys::device_path("/tmp/.corvane_notify_timezone_changed"),
             sys::device_path("/tmp/.corvane-connected")} {
    timer_callbacks_[timer_launch_scan] = [this] { launch_scan(); };
    timer_callbacks_[timer_scan_finished] = [this] { scan_finished(); };
    timer_callbacks_[timer_subscribe] = [this] { retry_subscribe(); };
    timer_callbacks_[timer_rrm_response] = [this] { rrm_response_due(); };
    timer_callbacks_[timer_probe_response] = [this] { post_rrm_probe_response(); };
    timer_callbacks_[timer_config_changed] = [this] { config_changed_due(); };
    timer_callbacks_[timer_blocked] = [this] { count_blocked_down(); };
    driver_.set_activity(&progress());
}

rrm_worker::~rrm_worker() {
    // The thread has ended; this one must not read the worker's clock, whose last reading may be old by now.
    driver_.set_activity(nullptr);
    log_debug(process_log, "rrm_worker: stop\n");
    cancel_all_timers();
    clear_station_tables();
    remove_neighbour_reports();
    driver_.stop_all();
    driver_.reset_context();
    unlink(files_.connected.c_str());
}

bool rrm_worker::init() {
    run_timers();
    if (!exists(files_.hostapd_pid)) return false;
    log_debug(process_log, "Connected to hostapd\n");
    return true;
}

bool rrm_worker::process() {
    run_timers();
    consume(from_service_);
    consume(from_bus_);
    if (!driver_.is_scanning()) {
        pending_.pop([this](const std::shared_ptr<buffer_info_t>& message) {
            log_debug(process_log, "From pended\n");
            on_service_message(message);
        });
    }
    driver_.short_sleep(driver_event_callback_);
    return true;
}

void rrm_worker::deinit() {
    log_debug(process_log, "Disconnected from hostapd\n");
    if (subscribed_) {
        const bool stopping = progress().cancelled();
        remove_neighbour_reports();
        driver_.stop_all();
        driver_.reset_corvane(stopping);
        if (use_80211r_) driver_.reset_corvane_fbt_params(stopping ? 1 : 0);
    }
    if (driver_.is_hostapd_running()) process_hostapd_stopped();
}

bool rrm_worker::is_alive(const run_flag* running) {
    return running->load(std::memory_order_relaxed) && check_notifications();
}

bool rrm_worker::check_notifications() {
    if (take_notification(files_.notify)) {
        if (take_notification(files_.hostapd_started)) {
            take_notification(files_.scoutd_started);
            if (exists(files_.hostapd_pid)) process_hostapd_started();
        }
        if (take_notification(files_.config_updated) && subscribed_) send_config_changed();
        if (take_notification(files_.timezone_changed)) tzset();
    }
    if (exists(files_.hostapd_pid)) return true;
    if (hostapd_stop_time_ != 0) {
        if (now_s() - hostapd_stop_time_ <= hostapd_restart_timeout_) return true;
        log_debug(process_log, "Hostapd has not restarted\n");
        return false;
    }
    if (driver_.is_hostapd_running()) {
        log_debug(process_log, "Hostapd is not running, waiting for restart\n");
        process_hostapd_stopped();
        return true;
    }
    log_debug(process_log, "Hostapd is not init and scoutd is not sentry mode\n");
    return false;
}

void rrm_worker::process_hostapd_started() {
    log_debug(process_log, "process_hostapd_started : initializing\n");
    hostapd_stop_time_ = 0;
    driver_.set_hostapd_running(true);
    driver_.reset_context();
    driver_.init_interface_context();
    driver_.stop_all();
    if (subscribing_) {
        log_debug(process_log, "process_started : subscribing\n");
        remove_timers(timer_subscribe);
        subscribe_now();
    } else if (subscribed_) {
        log_debug(process_log, "process_started : subscribed\n");
        take_notification(files_.config_updated);
        send_config_changed();
    }
    hostapd_stopped_ = false;
}

// Also leaves a scan in progress behind when there is one: the driver stops nothing without hostapd, and
// process_hostapd_started ends it. Its timers are gone until then.
void rrm_worker::process_hostapd_stopped() {
    log_debug(process_log, "process_hostapd_stopped : deinitializing\n");
    hostapd_stopped_ = true;
    hostapd_stop_time_ = now_s();
    driver_.set_hostapd_running(false);
    if (subscribed_) send_disassoc_all_clients();
    cancel_all_timers();
    clear_station_tables();
    driver_.reset_context();
}

void rrm_worker::cancel_all_timers() {
    for (const timer_id id : {timer_launch_scan, timer_scan_finished, timer_subscribe, timer_rrm_response,
                              timer_probe_response, timer_blocked, timer_config_changed})
        remove_timers(id);
}

void rrm_worker::clear_scan_results() {
    for (ap_table& round : scan_results_)
        round.clear();
}

void rrm_worker::clear_station_tables() {
    clear_scan_results();
    for (probe_table& table : probe_tables_)
        table.clear();
    for (blocked_table& table : blocked_tables_)
        table.clear();
}

void rrm_worker::remove_neighbour_reports() {
    for_each_kv_vap([this](const char* name) { driver_.del_neighbors(name); });
}

void rrm_worker::for_each_kv_vap(const std::function<void(const char*)>& visit) {
    const std::int32_t radios = radio_count();
    const std::int32_t vaps = driver_.vap_count();
    for (std::int32_t radio = 0; radio < radios; ++radio) {
        for (std::int32_t vap = 0; vap < vaps; ++vap) {
            const char* name = driver_.vap_name(vap, radio);
            if (name && driver_.vap_kv_enabled(radio, vap)) visit(name);
        }
    }
}

void rrm_worker::arm(timer_id id, std::int64_t delay_s) {
    add_timer(timer_callbacks_[static_cast<std::size_t>(id)], id, delay_s);
}

std::int32_t rrm_worker::radio_count() {
    return std::clamp<std::int32_t>(driver_.radio_count(), 0, static_cast<std::int32_t>(radio_names.size()));
}

}  // namespace ravd

#include "rrm/hostapd_watch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "core/logger.h"
#include "platform/system.h"

namespace ravd {
namespace {

bool exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// Whether a notification was there. One that cannot be removed (a directory in its place) does not count: it would be
// found again on every step. A link is removed itself, never what it points to.
bool take_notification(const std::string& path) { return unlink(path.c_str()) == 0; }

}  // namespace

hostapd_watch::hostapd_watch(agent_life& life)
    : life_(life),
      files_{sys::device_path("/var/run/hostapd.pid"),
             sys::device_path("/tmp/.corvane_notify"),
             sys::device_path("/tmp/.corvane_notify_hostapd_started"),
             sys::device_path("/tmp/.corvane_notify_scoutd_started"),
             sys::device_path("/tmp/.corvane_notify_config_updated"),
             sys::device_path("/tmp/.corvane_notify_timezone_changed")} {}

bool hostapd_watch::pid_file_exists() const { return exists(files_.hostapd_pid); }

void hostapd_watch::look_at_notifications() {
    if (!take_notification(files_.notify)) return;
    if (take_notification(files_.hostapd_started)) {
        take_notification(files_.scoutd_started);
        if (pid_file_exists()) {
            hostapd_stop_time_ = 0;
            // The report of the announced start tells of the configuration too.
            if (life_.state().link == link_state::subscribed) take_notification(files_.config_updated);
            life_.handle(life_event::hostapd_announced);
        }
    }
    if (take_notification(files_.config_updated)) life_.handle(life_event::config_updated);
    if (take_notification(files_.timezone_changed)) tzset();
}

bool hostapd_watch::check_notifications(std::int64_t now_s) {
    look_at_notifications();
    if (pid_file_exists()) return true;
    if (hostapd_stop_time_ != 0) {
        if (now_s - hostapd_stop_time_ <= hostapd_restart_timeout_) return true;
        log_debug(process_log, "Hostapd has not restarted\n");
        return false;
    }
    if (life_.state().hostapd == hostapd_state::running) {
        log_debug(process_log, "Hostapd is not running, waiting for restart\n");
        hostapd_stop_time_ = now_s;
        life_.handle(life_event::hostapd_gone);
        return true;
    }
    log_debug(process_log, "Hostapd is not init and scoutd is not sentry mode\n");
    return false;
}

void hostapd_watch::end(std::int64_t now_s) {
    if (life_.state().hostapd == hostapd_state::running) hostapd_stop_time_ = now_s;
    life_.handle(life_event::watch_ended);
}

}  // namespace ravd

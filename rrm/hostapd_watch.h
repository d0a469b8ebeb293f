// Watch over hostapd's pid file and the files by which other processes notify the agent.
#pragma once

#include <cstdint>
#include <string>

#include "rrm/agent_life.h"

namespace ravd {

// What it sees becomes events of the agent's life. Only on the worker's thread; times are seconds of the monotonic
// clock.
class hostapd_watch {
  public:
    explicit hostapd_watch(agent_life& life);

    // Whether hostapd's pid file is there.
    bool pid_file_exists() const;
    // Looks at the notifications and at the pid file. False ends the watch: hostapd is not there, or did not come back.
    bool check_notifications(std::int64_t now_s);
    // The watch has ended.
    void end(std::int64_t now_s);

  private:
    void look_at_notifications();

    agent_life& life_;
    std::int64_t hostapd_stop_time_ = 0;         // 0: no stop pending
    std::int32_t hostapd_restart_timeout_ = 60;  // seconds

    // Resolved once: an idle turn looks at some of them and must not allocate.
    struct watched_files {
        std::string hostapd_pid;
        std::string notify;
        std::string hostapd_started;
        std::string scoutd_started;
        std::string config_updated;
        std::string timezone_changed;
    };
    const watched_files files_;
};

}  // namespace ravd

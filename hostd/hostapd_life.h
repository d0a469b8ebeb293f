// hostapd as the agent has to see it: there, gone, begun anew, something else than before.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "hostd/hostapd_file.h"
#include "hostd/notices.h"
#include "hostd/settings.h"
#include "hostd/vap_table.h"

namespace ravd::hostd {

class hostapd_life {
  public:
    struct listeners {
        // Both before the agent is told; `anew`: another process than the last time.
        std::function<void(const vap& on_air, bool anew)> began;
        std::function<void(const std::string& vap_name)> ended;
    };

    // What it refers to outlives it.
    hostapd_life(const settings& own, vap_table& vaps, hostapd_config& config, listeners tell)
        : own_(own), vaps_(vaps), config_(config), tell_(std::move(tell)) {}

    // Looks after hostapd: to be called once a second, and after an event that says it is something else now.
    void look(std::int64_t now_ms);
    // What an event of a VAP means for its life. True when look() should follow at once.
    bool take(vap& of, const std::string& event);

  private:
    struct seen {
        vap_description description;
        int process = 0;
    };
    void read_config(int process);
    // Now and then: whether the next VAP, or a configuration file, is something else.
    void refresh(std::int64_t now_ms);
    bool settled(std::int64_t now_ms) const;

    const settings& own_;
    vap_table& vaps_;
    hostapd_config& config_;
    listeners tell_;
    pid_file pid_file_;
    std::map<std::string, seen> announced_;     // VAPs on the air that the agent was told of
    std::map<std::string, std::string> files_;  // hostapd's configuration as it was read: paths, and when written
    bool untold_ = false;                       // one of them went, or a file is another; the agent was not told yet
    std::int64_t changed_ms_ = 0;               // since when it is something else; 0: it is not
    std::int64_t next_refresh_ms_ = 0;
    std::size_t refreshed_ = 0;
};

}  // namespace ravd::hostd

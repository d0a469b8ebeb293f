// The configuration as the agent reads it: texts at paths, from our own file, hostapd and the kernel.
#pragma once

#include <optional>
#include <string>

#include "hostd/hostapd_file.h"
#include "hostd/radio_control.h"
#include "hostd/settings.h"
#include "hostd/vap_table.h"

namespace ravd::hostd {

class configuration {
  public:
    // What it refers to outlives it.
    configuration(const settings& own, const hostapd_config& hostapd, const vap_table& vaps,
                  const std::vector<std::unique_ptr<radio_control>>& radios, nl80211_port& kernel)
        : own_(own), hostapd_(hostapd), vaps_(vaps), radios_(radios), kernel_(kernel) {}

    // The text at a path; nothing where there is none. Our own file comes first. Never waits for hostapd.
    std::optional<std::string> value(const std::string& path) const;

    // A VAP's SSID as the kernel has it; empty when it is not on the air.
    std::string ssid(const std::string& vap_name) const;

  private:
    std::optional<std::string> radio_value(const std::string& name, const std::string& key) const;
    std::optional<std::string> vap_value(const std::string& name, const std::string& key) const;

    const settings& own_;
    const hostapd_config& hostapd_;
    const vap_table& vaps_;
    const std::vector<std::unique_ptr<radio_control>>& radios_;
    nl80211_port& kernel_;
};

}  // namespace ravd::hostd

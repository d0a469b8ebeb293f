// Channel and power of one radio: what is configured, what the service ordered in its place, and the way back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hostd/channel.h"
#include "hostd/hostapd_file.h"
#include "hostd/settings.h"
#include "hostd/vap_table.h"
#include "platform/nl80211.h"

namespace ravd::hostd {

// Members of an order as they came; empty: not among them.
struct radio_order {
    std::string channel, bandwidth, sideband;
    std::string power;  // dBm
};

class radio_control {
  public:
    // What it refers to outlives it.
    radio_control(int index, nl80211_port& kernel, const vap_table& vaps, const hostapd_config& hostapd,
                  const settings& own);

    const std::string& name() const { return name_; }
    bool exists() const;

    // Carries an order out. Empty, or the reason why nothing of it was done; `changed` when the radio does or will do
    // something else.
    std::string update(const radio_order& order, bool& changed);
    // Drops what was ordered: back to what is configured. Where hostapd does not go there now, the reason; it is asked
    // again by follow().
    std::string reset(bool& changed);
    // hostapd, this process, has the radio on the air anew, on the configured channel: what was ordered still holds.
    void hostapd_started(int process);
    // Once a second: asks hostapd again for a channel that it refused to go to.
    void follow();

    // Values of the configuration tree below "/interface/RADIO/wlan/radio/"; nothing for an unknown key.
    std::optional<std::string> value(const std::string& key) const;

    // While a switch is announced: whether it is over, which is logged when the radio did not get there. Looked at
    // again and again; true once.
    bool switch_ended(std::int64_t now_ms);
    bool switching() const { return announced_.to.channel != 0; }

  private:
    struct announcement {
        channel_use to;  // a switch that goes on; 0: none
        std::int64_t until_ms = 0;
    };
    bool interface_named(const std::string& name, wireless_interface& found) const;
    // Channel of a VAP on the air; 0 when there is none.
    channel_use current_channel() const;
    channel_use configured_channel() const;
    std::string go_to(const channel_use& use, patience& time, bool& changed);
    // To what is ordered, else to what is configured.
    std::string go_where_due(patience& time, bool& changed);
    std::string set_power(std::optional<int> dbm);
    std::optional<int> configured_power() const;
    std::optional<phy_info> phy() const;
    int power_limit(bool highest) const;
    // A value of our own configuration file.
    std::optional<std::string> own_value(const char* key) const;

    int index_;
    std::string name_;
    nl80211_port& kernel_;
    const vap_table& vaps_;
    const hostapd_config& hostapd_;
    const settings& own_;
    int process_ = 0;      // the hostapd that was seen last; 0: none yet
    channel_use began_;    // where it began; for a channel that it chose itself
    channel_use ordered_;  // 0: none
    std::optional<int> ordered_power_;
    announcement announced_;
    int attempts_left_ = 0;  // to go where it is due, after a hostapd that refused
};

}  // namespace ravd::hostd

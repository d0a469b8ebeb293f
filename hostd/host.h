// The whole of ravd-hostd: its parts, and who hears of what.
#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hostd/bus_module.h"
#include "hostd/clients.h"
#include "hostd/configuration.h"
#include "hostd/hostapd_file.h"
#include "hostd/hostapd_life.h"
#include "hostd/key_holders.h"
#include "hostd/radio_control.h"
#include "hostd/settings.h"
#include "hostd/vap_table.h"
#include "platform/nl80211.h"

namespace ravd::hostd {

class host {
  public:
    // `kernel` outlives it. `bus_directory`: docs/simulation.md.
    host(settings own, nl80211_port& kernel, const std::string& bus_directory);

    // One turn: what is due now, then what has arrived. Waits for nothing but answers of hostapd and the kernel.
    void turn(std::int64_t now_ms);
    // What ends the rest between two turns, and how long it may last at most.
    const std::vector<pollfd>& descriptors();
    int rest_ms(std::int64_t now_ms) const;

    // Drops what the service ordered. For an orderly end.
    void reset();

    // Answers of module 1 and of module 6.
    std::string answer_configuration(const std::string& command, const json_reader& request);
    std::string answer_network(const std::string& command, const json_reader& request);

  private:
    void look(std::int64_t now_ms);
    void take_events(std::int64_t now_ms);
    void compare_clients(std::int64_t now_ms);
    void vap_began(const vap& on_air, bool anew);
    void vap_ended(const std::string& vap_name);
    std::string update_radio(const json_reader& request, bool& changed);
    radio_control* radio_named(const json_reader& request) const;

    settings own_;
    nl80211_port& kernel_;
    vap_table vaps_;
    hostapd_config hostapd_;
    std::vector<std::unique_ptr<radio_control>> radios_;
    configuration configuration_;
    key_holders holders_;
    client_table clients_;
    hostapd_life life_;
    bus_module bus_configuration_;  // agent -> values
    bus_module bus_network_;        // agent -> orders; client events -> agent
    std::int64_t next_look_ms_ = 0;
    std::int64_t next_compare_ms_ = 0;
    std::vector<pollfd> descriptors_;
    std::int64_t bus_rest_ms_ = 0;
};

}  // namespace ravd::hostd

// hostapd's life as the agent sees it: pid file, notifications, interfaces, stations.
#pragma once

#include <functional>
#include <string>

#include "sim/ap/access_point.h"
#include "sim/ap/device_files.h"
#include "sim/ap/stations.h"
#include "sim/common/event_loop.h"

namespace ravd::sim {

class hostapd {
  public:
    hostapd(event_loop& loop, const event_log& log, access_point& ap, device_files& files, station_book& stations)
        : loop_(loop), log_(log), ap_(ap), files_(files), stations_(stations) {}

    // Each: empty, or why not. Starting raises the notification, and stations return a second later.
    std::string start();
    std::string stop();
    // Stops and starts again after a time.
    std::string restart(std::int64_t pause_ms);

    // A radio's interface goes up or down.
    void set_radio(radio_state& radio, bool up);
    // After a change of the configuration: interfaces and stations follow.
    void follow_config();

    // "SET_NEIGHBOR ..." or "REMOVE_ALL_NEIGHBOR" for a VAP, as wpa_cli brings it. The answer "OK" or "FAIL".
    std::string command(const std::string& ifname, const std::string& text);

  private:
    void return_stations();

    event_loop& loop_;
    const event_log& log_;
    access_point& ap_;
    device_files& files_;
    station_book& stations_;
};

}  // namespace ravd::sim

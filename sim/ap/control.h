// Text commands that a user or a script gives: one line each, one line of answer, "ok ..." or "error ...".
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/ap/access_point.h"
#include "sim/ap/device_files.h"
#include "sim/ap/faults.h"
#include "sim/ap/hostapd.h"
#include "sim/ap/stations.h"
#include "sim/common/event_loop.h"

namespace ravd::sim {

class control {
  public:
    struct parts {
        event_loop& loop;
        access_point& ap;
        device_files& files;
        station_book& stations;
        hostapd& daemon;
        fault_list& faults;
    };
    // `faults_changed` runs when a fault was added or cleared, `config_changed` when a setting was.
    control(parts used, std::function<void()> faults_changed, std::function<void()> config_changed)
        : used_(used), faults_changed_(std::move(faults_changed)), config_changed_(std::move(config_changed)) {}

    // Carries out one line. The answer has no line end.
    std::string run(const std::string& line);

  private:
    using words = std::vector<std::string>;
    std::string run_hostapd(const words& given);
    std::string run_station(const words& given);
    std::string run_radio(const words& given);
    // `rest` as it was typed: a setting's text goes to the line's end and may hold blanks, or nothing.
    std::string run_config(std::string_view rest);
    std::string set_config(const std::string& path, const std::string& text);
    std::string run_fault(const words& given);
    std::string run_notify(const words& given);
    std::string run_show(const words& given);
    std::string run_quit(const words& given);

    parts used_;
    std::function<void()> faults_changed_;
    std::function<void()> config_changed_;
};

// JSON texts, one line each, for "show".
std::string state_text(const access_point& ap, bool agent_connected);
std::string stations_text(const access_point& ap, const station_book& stations);
std::string neighbours_text(const access_point& ap);

}  // namespace ravd::sim

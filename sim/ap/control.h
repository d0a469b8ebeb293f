// Text commands that a user or a script gives: one line each. The answer ends with a line "ok ..." or "error ..."; what
// is for people to read stands before it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/ap/access_point.h"
#include "sim/ap/device_files.h"
#include "sim/ap/faults.h"
#include "sim/ap/hostapd.h"
#include "sim/ap/neighbourhood.h"
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
        neighbourhood& near;
    };
    // `faults_changed` runs when a fault was added or cleared, `config_changed` when a setting was.
    control(parts used, std::function<void()> faults_changed, std::function<void()> config_changed)
        : used_(used), faults_changed_(std::move(faults_changed)), config_changed_(std::move(config_changed)) {}

    static std::vector<std::string> command_words();
    // What may stand behind what is typed already: words, interfaces, stations.
    std::vector<std::string> what_fits(const std::string& before) const;
    // Carries out one line. The answer has no line end.
    std::string run(const std::string& line);

  private:
    using words = std::vector<std::string>;
    std::string run_hostapd(const words& given);
    std::string run_station(const words& given);
    std::string move_station(const words& given, const mac_octets& mac);
    std::string run_radio(const words& given);
    // The second word is all that follows: a setting's text may hold blanks, or be empty.
    std::string run_config(const words& given);
    std::string set_config(const std::string& path, const std::string& text);
    std::string run_fault(const words& given);
    std::string run_notify(const words& given);
    std::string run_show(const words& given);
    std::string run_help(const words& given);
    std::string run_quit(const words& given);

    struct command {
        const char* word;
        const char* usage;
        const char* help;
        std::string (control::*run)(const words&);
    };
    words things_of(const std::string& kind) const;
    static const std::vector<command>& commands();
    static const command* find(const std::string& word);
    static std::string unknown(const std::string& verb);
    // How the command is to be used.
    static std::string expected(const words& given);

    parts used_;
    std::function<void()> faults_changed_;
    std::function<void()> config_changed_;
};

// JSON texts, one line each, for "show".
std::string state_text(const access_point& ap, bool agent_connected);
std::string stations_text(const access_point& ap, const station_book& stations);
std::string neighbours_text(const access_point& ap);
std::string air_text(const access_point& ap, const std::vector<presence>& others);
// The same as tables for people; no line begins without a blank.
std::string state_view(const access_point& ap, bool agent_connected);
std::string stations_view(const access_point& ap, const station_book& stations);
std::string neighbours_view(const access_point& ap);
std::string air_view(const access_point& ap, const std::vector<presence>& others);

}  // namespace ravd::sim

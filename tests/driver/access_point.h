// A driver on a fake access point with both radios up; VAPs wlan0-va0 "home" and wlan1-va0 "home", 802.11k/v enabled.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "driver/board/board.h"
#include "tests/driver/fake_chip.h"
#include "tests/support/fake_bus.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {

class progress final : public activity {
  public:
    void tick() override { ++ticks; }
    bool cancelled() const override { return stop; }
    int ticks = 0;
    bool stop = false;
};

class access_point : public ::testing::Test {
  protected:
    explicit access_point(bool wifi6 = false) {
        system.reset();
        bus.reset();
        chip.emplace(wifi6);
        system.write_file("/etc/ravd/factory", "board=b\nhw=h\nserial=s\nmac=00:11:22:33:44:10\n");
        for (const std::string radio : {"wlan0", "wlan1"}) {
            interface(radio);
            chip->set_number(radio + " chanspec", radio == "wlan0" ? 0x1006 : 0x202a);
            bus.configuration["/interface/" + radio + "/wlan/radio/country"] = "DE";
            bus.configuration["/interface/" + radio + "/wlan/radio/bandwidth"] = radio == "wlan0" ? "40" : "80";
            bus.configuration["/interface/" + radio + "/wlan/radio/control-sideband"] = "upper";
            vap(radio + "-va0", "home");
        }
        driver.emplace(&running, back_ends);
        driver->set_activity(&worker);
    }

    void interface(const std::string& name, const char* flags = "0x1003\n") {
        system.write_file("/sys/class/net/" + name + "/flags", flags);
        system.write_file(chip->directory() + name + "/");
    }
    void vap(const std::string& name, const std::string& ssid) {
        interface(name);
        bus.configuration["/interface/" + name + "/common/enabled"] = "true";
        bus.configuration["/interface/" + name + "/vap/ssid"] = ssid;
        bus.configuration["/interface/" + name + "/vap/w80211kv-config/enabled"] = "true";
        bus.configuration["/interface/" + name + "/vap/ap-security/mode"] = "WPA2_1X";
    }
    void start() {
        driver->set_hostapd_running(true);
        driver->reset_context();
        driver->init_interface_context();
        chip->asked.clear();
        system.commands.clear();
        bus.sent.clear();
    }
    void neighbour(const char* ssid, std::uint32_t channel, bool custom = false) {
        driver->add_neighbor("02:AA:bb:cc:dd:ee", ssid, channel, 9, custom);
    }
    // The last order in a VAP's neighbour file.
    std::string list(const std::string& vap, bool custom = false) {
        const std::string name = chip->wifi6() ? "/nb_report" : "/rm_neighbor_report";
        return system.read_file(chip->directory() + vap + name + (custom ? "_custom" : ""));
    }

    fake_system& system = fake_system::get();
    fake_bus& bus = fake_bus::get();
    run_flag running{true};
    progress worker;
    std::optional<fake_chip> chip;
    board_back_ends back_ends;
    std::optional<driver_realtek> driver;
};

// The same story on both chips.
class either_chip : public access_point, public ::testing::WithParamInterface<bool> {
  protected:
    either_chip() : access_point(GetParam()) {}
};

}  // namespace ravd::testing

// An access point in memory: a kernel with two radios and a hostapd that runs a VAP on each, which follow the orders
// they get. Time is virtual.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "hostd/host.h"
#include "hostd/lines.h"
#include "platform/monotonic.h"
#include "tests/hostd/memory_kernel.h"
#include "tests/support/fake_hostapd.h"
#include "tests/support/fake_system.h"

namespace ravd::hostd::testing {

using ravd::testing::fake_hostapd;
using ravd::testing::fake_system;

// A process that has ended.
inline int ended_process() {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    return child;
}

class hostd_test : public ::testing::Test {
  protected:
    hostd_test() {
        hostapd.reset();
        for (const char* radio : {"wlan0", "wlan1"})
            kernel.make(radio, radio[4] == '0' ? 0 : 1, wireless_type::station);
        kernel.make("wlan0-va0", 0, wireless_type::access_point);
        kernel.make("wlan1-va0", 1, wireless_type::access_point);
        system.write_file("/etc/hostapd.conf",
                          "interface=wlan0-va0\nchannel=6\nieee80211n=1\nrrm_neighbor_report=1\n"
                          "wpa_passphrase=secret\nmobility_domain=12ab\nnas_identifier=ap1\n"
                          "r0kh=02:00:00:00:00:07 known 00112233445566778899aabbccddeeff\n"
                          "r1kh=02:00:00:00:00:0A 02:00:00:00:00:0A 00112233445566778899aabbccddeeff\n");
        hostapd.on_request = [this](const std::string& name, const std::string& request) {
            return answer(name, request);
        };
        for (const char* path : {"/tmp/", "/var/run/hostapd/wlan0-va0", "/var/run/hostapd/wlan1-va0"})
            system.write_file(path);
    }
    void start_hostapd() {
        for (const char* name : {"wlan0-va0", "wlan1-va0"}) {
            tune(name, name[4] == '0' ? 2437 : 5180, 20, 0);
            hostapd.start(name);
        }
    }
    void stop_hostapd() {
        for (const char* name : {"wlan0-va0", "wlan1-va0"})
            hostapd.stop(name);
    }
    void tune(const std::string& name, std::uint32_t mhz, std::uint32_t width, std::uint32_t centre) {
        wireless_interface& one = *kernel.find(name);
        one.frequency = mhz;
        one.width = width;
        one.centre = centre == 0 ? mhz : centre;
    }
    std::string answer(const std::string& name, const std::string& request) {
        const std::vector<std::string> words = words_of(request);
        if (words[0] == "STATUS") return "state=ENABLED\nieee80211n=1\nieee80211ac=1";
        if (words[0] == "GET_CONFIG") return "bssid=02:00:00:00:00:01\nssid=office\nwpa=2\nkey_mgmt=WPA-PSK FT-PSK";
        if (words[0] == "STA") return words[1] + "\next_capab=040008";
        if (refused == words[0]) return "FAIL";
        if (words[0] == "CHAN_SWITCH") {
            std::string lines;
            for (const std::string& word : words)
                lines += word + "\n";
            tune(name, static_cast<std::uint32_t>(number_of(words[2], 9999)),
                 static_cast<std::uint32_t>(number_of(line_value(lines, "bandwidth"), 999)),
                 static_cast<std::uint32_t>(number_of(line_value(lines, "center_freq1"), 9999)));
        }
        return "OK";
    }
    // Turns of the program while this time passes.
    void pass(int ms) {
        for (int i = 0; i <= ms / 100; ++i) {
            all.turn(monotonic_ms());
            system.advance_ms(100);
        }
    }
    // Whether a notification was raised since the last time.
    bool notified(const std::string& name) {
        const std::string path = "/tmp/.corvane_notify";
        const bool there = system.has_file(path) && system.has_file(path + "_" + name);
        for (const char* one : {"", "_hostapd_started", "_config_updated"})
            system.remove_file(path + one);
        return there;
    }
    // "ok", or the reason.
    std::string ask(const std::string& request) {
        const json_reader parsed(request.c_str());
        const std::string text = all.answer_network(parsed.get_string("command"), parsed);
        const json_reader reply(text.c_str());
        const char* reason = reply.get_string("reason");
        return reason ? reason : reply.get_string("status");
    }
    std::string update(const std::string& radio, const std::string& params) {
        return ask(R"({"command":"update-corvane","ifname":")" + radio + R"(","params":{)" + params + "}}");
    }
    std::string reset(const std::string& radio) {
        return ask(R"({"command":"reset-corvane","ifname":")" + radio + R"("})");
    }
    // A value; "-" for none.
    std::string get(const std::string& path) {
        const json_reader request((R"({"command":"get","path":")" + path + R"("})").c_str());
        const std::string text = all.answer_configuration("get", request);
        const json_reader reply(text.c_str());
        const char* value = reply.get_string("value");
        return value ? value : "-";
    }
    // What hostapd was asked since the last time, but for its state.
    std::vector<std::string> orders() {
        std::vector<std::string> kept;
        for (const std::string& one : std::exchange(hostapd.requests, {}))
            if (one.find(" STA") == std::string::npos && one.find("GET_CONFIG") == std::string::npos)
                kept.push_back(one);
        return kept;
    }

    fake_system& system = fake_system::get();
    fake_hostapd& hostapd = fake_hostapd::get();
    memory_kernel kernel;
    std::string refused;  // the request that hostapd refuses
    host all{own_settings(), kernel, system.root() + "/run/bus"};

  private:
    // Taken before the constructor's body: the files are made there.
    settings own_settings() {
        settings result;
        system.reset();
        result.hostapd_files = {system.root() + "/etc/hostapd.conf"};
        result.values["/interface/wlan1/wlan/radio/tx-power-max"] = "15";
        std::string error;
        EXPECT_TRUE(
            parse_settings("/corvane/tpc=false\n/interface/wlan0/wlan/radio/tx-power=17\n"
                           "/interface/wlan0-va0/vap/captive-portal/enabled=true\n",
                           result, error));
        return result;
    }
};

}  // namespace ravd::hostd::testing

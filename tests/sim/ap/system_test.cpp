// Real processes: the daemon's own driver, in this process, against a simulated access point in another.
#include "platform/system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "core/worker.h"
#include "driver/driver_realtek.h"
#include "platform/sim/radio_protocol.h"
#include "platform/sim/socket_io.h"
#include "sim/ap/mac_text.h"
#include "sim/ap/scenario.h"
#include "tests/sim/ap/running_ap.h"

namespace ravd {
namespace {

using testing::eventually;
using ::testing::HasSubstr;
using testing::running_ap;

const run_flag running{true};

// The driver as the agent has it when hostapd has started.
struct started_driver {
    started_driver() {
        driver.set_hostapd_running(true);
        refill();
    }
    void refill() {
        driver.reset_context();
        driver.init_interface_context();
    }
    std::string channels(const char* radio) {
        std::string text;
        driver.fill_chanspecs(radio, text);
        return text;
    }
    std::vector<rrm_sta_s> stations(const char* radio) {
        std::vector<rrm_sta_s> all;
        driver.get_assoc_stas(radio, [&](const rrm_sta_s& one) { all.push_back(one); });
        return all;
    }
    driver_realtek driver{&running};
};

bool has_file(const std::string& path) { return access((running_ap::directory() + path).c_str(), F_OK) == 0; }

sim::scenario scenario_of(const char* name) {
    sim::scenario s;
    std::string fault;
    EXPECT_TRUE(sim::load_scenario(running_ap::scenario_path(name), s, fault)) << fault;
    return s;
}

// What ravd-probe-sim prints.
std::string probe(const std::string& options = {}) {
    std::string output;
    EXPECT_TRUE(sys::run_command_for_reading((std::string(RAVD_PROBE) + " " + options).c_str(), output));
    return output;
}

int count_of(const std::string& text, const std::string& piece) {
    int count = 0;
    for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; ++at)
        ++count;
    return count;
}

// What the daemon sees of each scenario is what the scenario says.
class EveryScenario : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryScenario, IsWhatTheDaemonSees) {
    const sim::scenario s = scenario_of(GetParam());
    const running_ap ap(GetParam());
    const std::string printed = probe();  // before our own driver takes its number on the bus
    EXPECT_EQ(count_of(printed, "\nFAIL "), 0) << printed;
    int stations = 0;
    started_driver d;
    EXPECT_STREQ(d.driver.get_factory_info()->serial, s.serial.c_str());
    for (int r = 0; r < 2; ++r) {
        const auto& wanted = s.radios[static_cast<std::size_t>(r)];
        const std::string name = "wlan" + std::to_string(r);
        SCOPED_TRACE(name);
        EXPECT_EQ(d.driver.radio_up(r), wanted.up);
        const std::uint32_t chanspec = d.driver.get_chanspec(name.c_str());
        EXPECT_EQ(static_cast<int>(d.driver.chanspec_ctl_channel(chanspec)), wanted.use.channel);
        if (!wanted.up) continue;
        if (!wanted.coex) {
            EXPECT_EQ(static_cast<int>(d.driver.chanspec_bw(chanspec)), wanted.use.bandwidth);
        }
        EXPECT_EQ(d.driver.get_radio_obss_coex(r), wanted.coex);
        EXPECT_EQ(d.driver.get_tx_power(name.c_str()), wanted.power);
        EXPECT_EQ(d.driver.get_tx_power_min(r), wanted.power_min);
        EXPECT_EQ(d.driver.get_tx_power_max(r), wanted.power_max);
        EXPECT_EQ(d.driver.get_country(name.c_str()), wanted.country);
        EXPECT_EQ(d.driver.radio_wds_enabled(r), wanted.wds);
        std::string channels;
        if (!wanted.wds)
            for (const int c : wanted.limit_channels.empty() ? wanted.channels : wanted.limit_channels)
                channels += std::to_string(c) + " ";
        EXPECT_EQ(d.channels(name.c_str()), channels);

        std::set<std::string> expected;
        for (std::size_t v = 0; v < wanted.vaps.size(); ++v) {
            const auto& vap = wanted.vaps[v];
            const char* ssid = d.driver.vap_ssid(static_cast<int>(v), r);
            EXPECT_EQ(ssid ? ssid : "", vap.enabled ? vap.ssid : "");
            EXPECT_EQ(d.driver.vap_kv_enabled(r, static_cast<int>(v)), vap.enabled && vap.kv);
            for (const auto& one : vap.stations)
                expected.insert(sim::mac_text(one.mac));
        }
        std::set<std::string> seen;
        for (const rrm_sta_s& one : d.stations(name.c_str())) {
            seen.insert(one.mac);
            EXPECT_EQ(one.rssi, *std::max_element(one.readings.begin(), one.readings.end()));
        }
        EXPECT_EQ(seen, expected);
        stations += static_cast<int>(expected.size());
    }
    EXPECT_EQ(count_of(printed, "\n  station "), stations);

    std::uint32_t wait = 0;
    EXPECT_EQ(d.driver.start_scan(true, {}, {}, wait), 0);
    testing::pause_ms(100);
    d.driver.stop_scan(true);
    ap_table heard;
    EXPECT_EQ(d.driver.fill_scan_results(heard), 0);
    for (const scan_record& bss : heard) {
        const auto found = std::find_if(s.neighbours.begin(), s.neighbours.end(),
                                        [&](const auto& one) { return one.bssid == bss.bssid; });
        ASSERT_NE(found, s.neighbours.end());
        EXPECT_EQ(static_cast<int>(bss.channel), found->use.channel);
        EXPECT_NEAR(bss.rssi, found->rssi, 10);
    }
    // Only a radio that is up and carries no WDS links scans; the weakest may be missed.
    std::size_t audible = 0;
    for (const auto& one : s.neighbours) {
        const auto& radio = s.radios[sim::band_of(one.use.channel) == s.radios[0].band ? 0 : 1];
        audible += radio.up && !radio.wds && one.rssi > -80 ? 1 : 0;
    }
    EXPECT_GE(heard.size(), audible);
}

INSTANTIATE_TEST_SUITE_P(Shipped, EveryScenario,
                         ::testing::Values("small-office", "block-of-flats", "one-radio-down", "wds",
                                           "wifi6-upper-band", "wifi6"));

TEST(RoundTrip, WhatIsSetIsReadBack) {
    const running_ap ap("wifi6-upper-band");
    started_driver d;
    const auto channel = [&](const char* radio) { return d.driver.chanspec_ctl_channel(d.driver.get_chanspec(radio)); };
    EXPECT_EQ(d.driver.set_channel("wlan0", 11, 40, 2), 0);
    EXPECT_EQ(d.driver.get_chanspec("wlan0"), 0x1909u);
    EXPECT_TRUE(has_file("/tmp/.corvane_notify"));
    EXPECT_TRUE(has_file("/tmp/.corvane_notify_config_updated"));
    d.refill();
    EXPECT_EQ(d.driver.get_radio_bandwidth(0), 0x1900u);
    EXPECT_EQ(d.driver.set_tx_power("wlan1", 9), 0);
    EXPECT_EQ(d.driver.get_tx_power("wlan1"), 9);

    // What the radio cannot do is refused, and nothing of it stays.
    EXPECT_EQ(d.driver.set_channel("wlan1", 37, 20, 0), -1);
    EXPECT_EQ(d.driver.set_channel("wlan1", 36, 40, 2), -1);
    EXPECT_EQ(d.driver.set_tx_power("wlan1", 99), -1);
    EXPECT_EQ(channel("wlan1"), 44u);
    EXPECT_EQ(ap.ask("config get /interface/wlan1/wlan/radio/channel"), "\"44\"");
    EXPECT_EQ(d.driver.get_tx_power("wlan1"), 9);

    d.driver.reset_corvane(false);
    EXPECT_EQ(channel("wlan0"), 6u);
    EXPECT_EQ(d.driver.get_tx_power("wlan1"), 19);

    // Fast transition settings come and go.
    EXPECT_FALSE(d.driver.is_ft_enabled(0, 0));
    d.driver.begin_corvane_fbt_params();
    d.driver.add_corvane_fbt_params("wlan0-va0", R"({"ft-config":{"enabled":"true","mobility-domain":7,"mac":{}}})");
    EXPECT_EQ(d.driver.finish_corvane_fbt_params(), 0);
    EXPECT_TRUE(d.driver.is_ft_enabled(0, 0));
    EXPECT_EQ(ap.ask("config get /interface/wlan0-va0/vap/ft-config/mobility-domain"), "\"7\"");
    EXPECT_EQ(d.driver.reset_corvane_fbt_params(0), 0);
    EXPECT_FALSE(d.driver.is_ft_enabled(0, 0));

    // Neighbour lists of both chips, every one of a quick sequence.
    for (int i = 0; i < 20; ++i) {
        const std::string bssid = "06:bb:00:00:00:" + std::to_string(10 + i);
        d.driver.add_neighbor(bssid.c_str(), "school", 6, 1, false);
    }
    d.driver.add_neighbor("06:bb:00:00:01:01", "school", 36, 2, true);
    const auto counted = [&](const std::string& key, int count) {
        return ap.ask("show state").find("\"" + key + "\":" + std::to_string(count)) != std::string::npos;
    };
    EXPECT_TRUE(eventually([&] { return counted("neighbours", 20); }));
    EXPECT_TRUE(eventually([&] { return counted("custom_neighbours", 1) && counted("hostapd_neighbours", 1); }));
    EXPECT_THAT(ap.ask("show neighbours"),
                HasSubstr("\"bssid\":\"06:bb:00:00:01:01\",\"channel\":36,\"ssid\":\"school\""));
    for (const char* vap : {"wlan0-va0", "wlan1-va0"}) {
        d.driver.del_neighbors(vap);
        d.driver.del_custom_neighbors(vap);
    }
    EXPECT_TRUE(eventually([&] { return ap.ask("show neighbours").find("bssid") == std::string::npos; }));

    // An RRM scan hears its one channel and tells the neighbours' power.
    std::uint32_t wait = 0;
    EXPECT_EQ(d.driver.start_scan(false, {1, 6}, {44}, wait), 0);
    testing::pause_ms(50);
    d.driver.stop_scan(false);
    ap_table heard;
    EXPECT_EQ(d.driver.fill_rrm_scan_results(heard), 0);
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[1].bandwidth, 80u);
    EXPECT_EQ(heard[1].tx_power, 20);
    EXPECT_EQ(d.driver.fill_scan_results(heard), 0);
    EXPECT_TRUE(heard.empty());
}

TEST(Life, StationsHostapdAndRadios) {
    const running_ap ap("small-office");
    started_driver d;
    // A steered station leaves after its moment; one that stays is marked.
    d.driver.set_roam_attempt_timeout("wlan1", 60);
    d.driver.send_bss_trans_req("wlan1-va0", "06:00:00:00:00:05", 1);
    d.driver.send_bss_trans_req("wlan1-va0", "06:00:00:00:00:07", 1);
    for (const rrm_sta_s& one : d.stations("wlan1"))
        EXPECT_EQ(one.roam_attempts != 0, one.mac != "06:00:00:00:00:06") << one.mac;
    EXPECT_TRUE(eventually([&] { return d.stations("wlan1").size() == 2; }));

    EXPECT_EQ(ap.ask("station join 06:00:00:00:00:42 wlan0-va1 -55 no-v"), "");
    EXPECT_THAT(ap.ask("show stations"), HasSubstr("06:00:00:00:00:42"));
    EXPECT_EQ(d.stations("wlan0").size(), 5u);
    EXPECT_EQ(ap.ask("station leave 06:00:00:00:00:42"), "");
    EXPECT_EQ(d.stations("wlan0").size(), 4u);

    EXPECT_EQ(ap.ask("radio 0 down"), "");
    EXPECT_FALSE(d.driver.is_radio_up("wlan0"));
    EXPECT_EQ(ap.ask("radio 0 up"), "");
    EXPECT_EQ(ap.ask("hostapd stop"), "");
    EXPECT_FALSE(has_file("/var/run/hostapd.pid"));
    EXPECT_FALSE(d.driver.vap_is_up("wlan1-va0", 0));
    EXPECT_EQ(ap.ask("hostapd start"), "");
    EXPECT_TRUE(has_file("/var/run/hostapd.pid"));
    EXPECT_TRUE(has_file("/tmp/.corvane_notify_hostapd_started"));
    EXPECT_TRUE(eventually([&] { return d.stations("wlan1").size() == 2; }));
    EXPECT_EQ(ap.ask("config set /interface/wlan0-va0/vap/ssid two words"), "");
    d.refill();
    EXPECT_STREQ(d.driver.vap_ssid(0, 0), "two words");
    EXPECT_EQ(ap.ask("config set /interface/wlan0/wlan/radio/channel 3"), "");
    EXPECT_EQ(d.driver.get_chanspec("wlan0"), 0x1003u);

    for (const char* wrong : {"", "jump", "station join x wlan0-va0", "station leave 06:00:00:00:00:99", "radio 2 up",
                              "station join 06:00:00:00:00:42 wlan9-va0", "config set nowhere 1", "show everything",
                              "hostapd start", "notify something", "station leave 06:00:00:00:00:01 dancing"})
        EXPECT_THAT(ap.tell(wrong), HasSubstr("error ")) << wrong;
}

TEST(FaultsStrike, DriverServicesAndCommands) {
    const running_ap ap("wifi6-upper-band");
    started_driver d;
    ASSERT_EQ(d.stations("wlan1").size(), 2u);
    ap.ask("fault stations fail EIO on wlan1-va0 times 1");
    EXPECT_TRUE(d.stations("wlan1").empty());
    EXPECT_EQ(d.stations("wlan1").size(), 2u);
    ap.ask("fault stations count 4294967295 times 1");
    EXPECT_LE(d.stations("wlan1").size(), 4680u);
    ap.ask("fault results garbage times 2");
    ap_table heard;
    d.driver.fill_scan_results(heard);
    EXPECT_LE(heard.size(), 9360u);
    ap.ask("fault get-mib:chanspec length 65535 times 1");
    d.driver.get_chanspec("wlan0");
    ap.ask("fault get-mib:chanspec length 1 times 1");
    EXPECT_EQ(d.driver.get_chanspec("wlan0"), 0x06u);  // the bytes that a short answer leaves out are 0
    EXPECT_EQ(d.driver.get_chanspec("wlan0"), 0x1006u);
    for (const char* kind : {"empty", "fail", "garbage"}) {
        ap.ask(std::string("fault iwpriv ") + kind + " times 1");
        EXPECT_EQ(d.driver.get_chanspec("wlan1"), 0u) << kind;
    }
    EXPECT_EQ(d.driver.get_chanspec("wlan1"), 0x222Au);

    std::string value;
    const char* path = "/interface/wlan0/wlan/radio/country";
    ap.ask("fault config dead");
    EXPECT_EQ(d.driver.getconf(path, value), -1);
    ap.ask("fault clear");
    EXPECT_EQ(d.driver.getconf(path, value), 0);
    ap.ask("fault config late 300 times 1");
    EXPECT_EQ(d.driver.getconf(path, value), 0);
    ap.ask("fault config garbage times 1");
    EXPECT_EQ(d.driver.getconf(path, value), -1);
    ap.ask("fault porterd fail times 1");
    EXPECT_EQ(d.driver.set_tx_power("wlan0", 12), -1);
    EXPECT_EQ(d.driver.set_tx_power("wlan0", 12), 0);
    EXPECT_EQ(ap.ask("fault list"), "none");
}

TEST(Probe, NamesTheCallThatFails) {
    const running_ap ap("wifi6-upper-band");
    EXPECT_THAT(probe("--scan 1,44 --wait 1"), HasSubstr("  bss 06:aa:00:00:03:02 "));
    ap.ask("fault stations fail EOPNOTSUPP on wlan0-va0");
    ap.ask("fault iwpriv empty on wlan1");
    ap.ask("config remove /corvane/tpc");
    ap.ask("hostapd stop");
    ap.ask("radio 0 down");
    std::string printed = probe();
    EXPECT_THAT(printed, HasSubstr("FAIL /var/run/hostapd.pid: hostapd does not run"));
    EXPECT_THAT(printed, HasSubstr("FAIL wlan1 MIB chanspec"));
    EXPECT_THAT(printed, HasSubstr("FAIL get /corvane/tpc"));
    EXPECT_THAT(printed, HasSubstr("radio wlan0 down"));
    ap.ask("hostapd start");
    ap.ask("radio 0 up");
    EXPECT_THAT(probe(), HasSubstr("FAIL wlan0-va0 stations: Operation not supported"));
    ap.ask("fault config dead");
    EXPECT_THAT(probe(), HasSubstr("FAIL get /interface/wlan0/wlan/radio/country: no answer"));
}

// Bytes without sense on each socket end their connection, or get an error, and nothing more.
TEST(Robustness, GarbageFromClients) {
    const running_ap ap("small-office");
    std::string bad_size;
    sim::append_u32(bad_size, 0xFFFFFFFF);
    sim::radio_request unknown;
    unknown.number = 0x1234;
    unknown.ifname = "../../etc";
    const std::string texts[] = {bad_size, std::string(300000, 'x'), std::string(70000, '\0'), sim::encode(unknown),
                                 "\xff\xfe\n\n\n"};
    for (const char* name : {"/radio.sock", "/command.sock", "/control.sock"}) {
        for (const std::string& text : texts) {
            const int fd = sim::connect_unix(running_ap::directory() + name);
            ASSERT_GE(fd, 0);
            sim::send_all(fd, text.data(), text.size());
            close(fd);
        }
    }
    EXPECT_THAT(ap.tell("show state"), HasSubstr("\"hostapd\":true"));
    EXPECT_THAT(ap.tell("station join " + std::string(5000, 'a')), HasSubstr("error"));
}

TEST(Directory, OneAccessPointAtATimeAndNothingLeft) {
    running_ap ap("small-office");
    std::string output;
    const std::string second = std::string(RAVD_SIM_AP) + " " + running_ap::scenario_path("wds") + " --dir " +
                               running_ap::directory() + " 2>&1 </dev/null";
    EXPECT_TRUE(sys::run_command_for_reading(second.c_str(), output));
    EXPECT_THAT(output, HasSubstr("runs there already"));
    EXPECT_EQ(ap.stop(), 0);
    for (const char* gone : {"/radio.sock", "/command.sock", "/control.sock", "/var/run/hostapd.pid",
                             "/run/ravd-bus/1.sock", "/proc/wlan0-va0/rm_neighbor_report"})
        EXPECT_FALSE(has_file(gone)) << gone;
    // Without an access point the driver's calls fail as for a device that is not there.
    const int sock = sys::wireless_socket();
    EXPECT_GE(sock, 0);
    close(sock);
    started_driver d;
    EXPECT_EQ(d.driver.get_chanspec("wlan0"), 0u);
}

}  // namespace
}  // namespace ravd

int main(int argc, char** argv) {
    ravd::testing::running_ap::directory();  // names the directory before anything asks for it
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// The table of radios and VAPs, and what is answered from it and from the configuration.
#include "driver/converters.h"
#include "message/json.h"
#include "tests/core/log_capture.h"
#include "tests/driver/access_point.h"

namespace ravd::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

INSTANTIATE_TEST_SUITE_P(chips, either_chip, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "rtk_wifi6" : "rtl8192cd"; });

// "band bandwidth country up,wds,coexistence power-range" and each active VAP with the length of its SSID and its flags
// (captive portal, enterprise, 802.11k/v).
std::string describe(const interface_context& radio) {
    char text[128];
    std::snprintf(text, sizeof text, "%u %x %s %d%d%d %u-%u", radio.band, radio.bandwidth, radio.country.c_str(),
                  radio.up, radio.wds_enabled, radio.obss_coex, radio.tx_power_min, radio.tx_power_max);
    std::string all = text;
    for (const vap_record& vap : radio.vaps) {
        std::snprintf(text, sizeof text, " %s(%zu) %d%d%d", vap.name.c_str(), vap.ssid.size(), vap.captive_portal,
                      vap.enterprise, vap.kv_enabled);
        if (vap.active || !vap.ssid.empty()) all += text;
    }
    return all;
}

TEST_P(either_chip, fills_the_table_when_hostapd_starts) {
    auto& settings = bus.configuration;
    vap("wlan0-va1", std::string(200, 'x'));
    settings["/interface/wlan0-va1/vap/captive-portal/enabled"] = "true";
    settings["/interface/wlan0-va1/vap/ap-security/mode"] = "WPA2_PSK";
    vap("wlan0-va2", "off");
    settings["/interface/wlan0-va2/common/enabled"] = "false";
    vap("wlan0-va3", "down");
    interface("wlan0-va3", "0x1002\n");
    vap("wlan0-va4", "failed");
    settings.erase("/interface/wlan0-va4/common/enabled");
    settings["/interface/wlan0/wlan/radio/tx-power-max"] = "20";
    settings["/interface/wlan0/wlan/radio/tx-power-min"] = "5";
    settings["/interface/wlan1/wlan/radio/tx-power-max"] = "23";  // without the other one
    settings["/interface/wlan1/wlan/wds/enabled"] = "true";
    settings["/interface/wlan1-wds7/common/enabled"] = "true";
    system.write_file(GetParam() ? "/proc/net/rtk_wifi6/wlan0/coex_2g_40m" : "/proc/wlan0/mib_11n",
                      GetParam() ? "1\n" : "  use40M: 1\n  coexist: 1\n");
    start();
    EXPECT_GT(worker.ticks, 20);
    const radio_table& table = driver->table();
    EXPECT_EQ(describe(*table.get_radio(0)), "2 1900 DE 101 5-20 wlan0-va0(4) 011 wlan0-va1(129) 101");
    EXPECT_EQ(describe(*table.get_radio(1)), "5 2000 DE 110 11-16 wlan1-va0(4) 011");

    std::vector<std::string> vaps;
    driver->for_each_vap("wlan1-va4", [&vaps](int vap, const char* ssid, const char* mac, bool kv) {
        vaps.push_back(std::to_string(vap) + " " + ssid + " " + mac + (kv ? " kv" : ""));
    });
    EXPECT_THAT(vaps, ElementsAre("0 home 00:11:22:33:44:19 kv"));
    EXPECT_STREQ(driver->vap_name_by_ssid("home", 1), "wlan1-va0");
    EXPECT_EQ(driver->vap_index_by_ssid("hom", 1), -1);

    // The radio goes down: after a reset nothing of it is read again, but its country stays.
    interface("wlan0", "0x1002\n");
    start();
    EXPECT_EQ(describe(*table.get_radio(0)), "0 0 DE 000 11-16");
    EXPECT_TRUE(!driver->any_vap_active(0) && driver->any_vap_active(1));
}

TEST_F(access_point, is_filled_again_when_the_configuration_service_was_busy) {
    start();
    const radio_table whole = driver->table();
    int answers = 5;
    bus.on_request = [&answers](int, const std::string&) {
        return answers-- > 0 ? std::nullopt : std::optional<std::string>("");
    };
    const double began = system.now_s();
    start();
    EXPECT_NEAR(system.now_s() - began, 4, 0.5);  // two waits, not one a setting
    const radio_table part = driver->table();
    EXPECT_FALSE(driver->refill_context() || part == whole);
    EXPECT_TRUE(driver->table() == part && driver->context_incomplete());
    bus.on_request = nullptr;
    system.advance_ms(10000);  // no longer counts as hung
    EXPECT_TRUE(driver->refill_context());
    EXPECT_TRUE(driver->table() == whole && !driver->context_incomplete());
    EXPECT_FALSE(driver->refill_context());
}

TEST_F(access_point, knows_itself_from_factory_data) {
    EXPECT_STREQ(driver->get_factory_info()->serial, "s");
    const struct {
        const char *mac, *first, *last;
    } rows[] = {{"00:11:22:33:44:FF", "00:11:22:33:44:00", "00:11:22:33:44:0e"},
                {"00:11:22:33:44", "00:00:00:00:00:01", "00:00:00:00:00:0f"},
                {"aA:11:22:33:44:10123456789012345", "aa:11:22:33:44:11", "aa:11:22:33:44:1f"}};
    for (const auto& row : rows) {
        system.write_file("/etc/ravd/factory", std::string("mac=") + row.mac + "\n");
        driver.emplace(&running, back_ends);
        EXPECT_EQ(driver->table().get_radio(0)->vaps[0].mac, row.first);
        EXPECT_EQ(driver->table().get_radio(1)->vaps[6].mac, row.last);
        EXPECT_STREQ(driver->get_base_mac(), row.mac);
    }
    EXPECT_EQ(driver->get_vap_base(1) * 100 + driver->get_vap_span(1), 808);
}

TEST_P(either_chip, is_neutral_while_hostapd_does_not_run) {
    start();
    driver_realtek& d = *driver;
    for (const bool stopping : {false, true}) {
        d.set_hostapd_running(stopping);
        running = !stopping;
        bool called = false;
        std::uint32_t wait = 0;
        ap_table table;
        std::string text = "x";
        d.for_each_vap("wlan0", [&called](int, const char*, const char*, bool) { called = true; });
        EXPECT_EQ(d.get_assoc_stas("wlan0", [&called](const rrm_sta_s&) { called = true; }), 0);
        EXPECT_FALSE(called || d.is_radio_up("wlan0") || d.radio_up(0) || d.any_vap_active(0) ||
                     d.radio_has_band(0, 2) || d.vap_is_up("wlan0", 0) || d.vap_active(0, 0) ||
                     d.vap_kv_enabled(0, 0) || d.radio_wds_enabled(0) || d.is_ft_enabled(0, 0));
        EXPECT_FALSE(d.vap_name(0, 0) || d.vap_ssid(0, 0) || d.vap_mac(0, 0) || d.vap_name_by_ssid("home", 0));
        EXPECT_EQ(d.get_tx_power("wlan0"), 16);
        EXPECT_EQ(d.get_chanspec("wlan0") + d.get_config_bandwidth("wlan0") + d.get_config_sideband("wlan0"), 0u);
        EXPECT_EQ(d.set_tx_power("wlan0", 3) + d.set_channel("wlan0", 6, 20, 0) + d.start_scan(true, {1}, {36}, wait) +
                      d.set_roam_attempt_timeout("wlan0", 3) + d.fill_scan_results(table) +
                      d.fill_rrm_scan_results(table) + d.is_scanning(),
                  0);
        d.fill_chanspecs("wlan0", text);
        EXPECT_EQ(text, "x");
        neighbour("home", 6);
        d.send_bss_trans_req("wlan0-va0", "02:00:00:00:00:01", 0);
        // What does not depend on hostapd.
        EXPECT_EQ(d.get_radio_bandwidth(0), 0x1900u);
        EXPECT_EQ(d.get_tx_power_max(2) * 100 + d.get_tx_power_min(-1) + d.get_vap_base(2) + d.get_vap_span(2), 1611);
    }
    d.set_hostapd_running(false);
    d.stop_all();
    d.del_neighbors("wlan0-va0");
    d.del_custom_neighbors("wlan0-va0");
    EXPECT_TRUE(bus.sent.empty() && chip->asked.empty() && system.commands.empty());
}

TEST_F(access_point, answers_for_missing_radios_with_an_error) {
    start();
    log_capture log(log_error_bit | log_debug_bit);
    EXPECT_FALSE(driver->table().radio_by_ifname("wlan2"));
    EXPECT_FALSE(driver->table().radio_by_ifname("eth0"));
    EXPECT_FALSE(driver->radio_up(7));
    EXPECT_FALSE(driver->vap_name(7, 0));
    EXPECT_EQ(driver->get_chanspec(nullptr), 0u);
    driver->get_min_max_tx_power("DE", nullptr, nullptr, 2);
    driver->block_sta("wlan0", "");
    EXPECT_EQ(driver->get_config_bandwidth("eth0"), 0x1000u);
    EXPECT_FALSE(driver->is_radio_up("wlan5"));
    EXPECT_FALSE(driver->settings().getconf_vap("wlan0-va0", "/vap/none", parse_ssid));
    const std::string text = log.text();
    for (const char* piece :
         {"radio_id 2 are absence: ", "cannot parse interface name(eth0)\n", "<get_radio:", "vap_id 7 are absence: ",
          "<get_chanspec:", "block_sta: not supported\n", "no pointer to tx_power_min or tx_power_max\n",
          "> cannot take  value of the eth0 interface\n", "cannot open entry from sysfs(/sys/class/net/wlan5/flags)\n",
          "<getconf_vap:265> ifname == wlan0-va0 path == /interface/wlan0-va0/vap/none value \n",
          "<getconf_vap:269> cannot take /interface/wlan0-va0/vap/none value of the wlan0-va0 interface\n"})
        EXPECT_THAT(text, HasSubstr(piece));
}

TEST_F(access_point, reads_and_orders_configuration) {
    bus.configuration["/interface/wlan0-va0/vap/ft-config/enabled"] = "true";
    start();
    EXPECT_TRUE(driver->is_ft_enabled(0, 0));
    bus.configuration["/interface/wlan0-va0/vap/ap-security/mode"] = "WPA_WPA2_PSK";
    EXPECT_FALSE(driver->is_ft_enabled(0, 0));
    bus.configuration["/interface/wlan0/wlan/wds/enabled"] = "true";
    bus.sent.clear();
    EXPECT_FALSE(driver->get_wds_enabled("wlan0"));
    EXPECT_EQ(bus.sent.size(), 9u);

    bus.sent.clear();
    driver->set_channel("wlan1", 36, 80, 0);
    driver->set_channel("wlan1", 36, 40, 2);
    EXPECT_EQ(driver->set_tx_power("wlan1", 12), 0);
    driver->reset_corvane(true);
    driver->reset_corvane(false);
    ASSERT_EQ(bus.sent.size(), 5u);
    EXPECT_THAT(bus.sent[0].text, HasSubstr(R"("params":{"auto-channel":"false","channel":"36","bandwidth":"80"}})"));
    EXPECT_THAT(bus.sent[1].text, HasSubstr(R"("bandwidth":"40","control-sideband":"upper"}})"));
    EXPECT_THAT(bus.sent[2].text, HasSubstr(R"("params":{"tx-power":"12"})"));
    EXPECT_THAT(bus.sent[4].text, HasSubstr(R"("ifname":"wlan1")"));

    json_writer root(nullptr, nullptr, nullptr);
    EXPECT_TRUE(driver->put_radio_id("wlan1-va2", root));
    EXPECT_FALSE(driver->put_radio_id("wlan1", root));
    EXPECT_THAT(root.text(), HasSubstr(R"("radio":1)"));
}

}  // namespace
}  // namespace ravd::testing

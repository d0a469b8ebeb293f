// Scans, stations, neighbours and single requests, through both chip back-ends.
#include "tests/core/log_capture.h"
#include "tests/driver/access_point.h"

namespace ravd::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_P(either_chip, scans_both_radios) {
    start();
    std::uint32_t wait = 0;
    driver->start_scan(true, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, {36, 70000}, wait);
    EXPECT_EQ(wait, 10u);
    driver->start_scan(false, {1}, {36}, wait);
    EXPECT_THAT(chip->asked,
                ElementsAre("wlan0 1", HasSubstr("wlan0 0 0d00000001000200"), "wlan1 1", "wlan1 0 0100000024"));

    chip->replies["wlan0 2"] = fake_chip::bytes(1) + std::string(12, '\0') + "\x06" + std::string(15, '\0');
    chip->replies["wlan1 2"] = fake_chip::bytes(1) + std::string(12, '\0') + "\x24" + std::string(15, '\0');
    ap_table table(7);
    EXPECT_EQ(driver->fill_scan_results(table), 0);
    ASSERT_EQ(table.size(), 2u);
    EXPECT_EQ(table[0].channel * 100 + table[1].channel, 636u);
    EXPECT_EQ(chip->asked.back(), "wlan1 2 9024");  // room for 9,360
    chip->failing = {"wlan1 2"};
    EXPECT_EQ(driver->fill_scan_results(table), -1);
    EXPECT_EQ(table.size(), 1u);
    chip->failing.clear();
    chip->replies["wlan1 2"] = "";  // success, and nothing written
    driver->fill_scan_results(table);
    EXPECT_EQ(table.size(), 1u);

    chip->asked.clear();
    EXPECT_TRUE(driver->is_scanning());
    driver->stop_scan(false);
    EXPECT_FALSE(driver->is_scanning());
    driver->stop_scan(false);
    EXPECT_THAT(chip->asked, ElementsAre("wlan0 rrm_scan_started=0", "wlan1 rrm_scan_started=0"));

    // After an RRM scan only radios on which it began are asked for results.
    const struct {
        channel_set wlan0, wlan1;
        std::string failing;
        std::vector<std::string> asked;
    } rows[] = {{{6}, {36}, "", {"wlan0 3 9024", "wlan1 3 9024"}},
                {{6}, {}, "", {"wlan0 3 9024"}},
                {{}, {}, "", {}},
                {{6}, {36}, "wlan0 rrm-scan", {"wlan1 3 9024"}},
                {{6}, {36}, "wlan1 rrm_scan_chan=36", {"wlan0 3 9024"}}};
    for (const auto& row : rows) {
        if (GetParam() && row.failing == "wlan1 rrm_scan_chan=36") continue;  // iwpriv tells no failure
        chip->failing = {row.failing};
        driver->start_scan(false, row.wlan0, row.wlan1, wait);
        driver->stop_scan(false);
        chip->asked.clear();
        EXPECT_EQ(driver->fill_rrm_scan_results(table), 0);
        EXPECT_EQ(chip->asked, row.asked) << row.failing;
    }
}

TEST_P(either_chip, waits_for_the_slower_radio) {
    start();
    const struct {
        bool active;
        channel_set wlan0, wlan1;
        std::uint32_t before, after;
    } rows[] = {{true, {1}, {}, 0, 15}, {true, {}, {36}, 0, 10}, {true, {1}, {36, 40}, 0, 2}, {true, {}, {}, 20, 20},
                {false, {}, {}, 0, 0},  {false, {5}, {}, 7, 7},  {false, {11, 5}, {}, 0, 6}};
    for (const auto& row : rows) {
        chip->asked.clear();
        std::uint32_t wait = row.before;
        driver->start_scan(row.active, row.wlan0, row.wlan1, wait);
        EXPECT_EQ(wait, row.after);
        EXPECT_EQ(chip->asked.empty(), row.after == 0);
        if (&row != std::end(rows) - 1) driver->stop_scan(true);
    }
    EXPECT_THAT(chip->asked, ElementsAre("wlan0 rrm_scan_started=0", "wlan0 rrm_scan_chan=5", "wlan0 rrm-scan"));
    driver->stop_all();

    bus.configuration["/interface/wlan0/wlan/wds/enabled"] = "true";
    bus.configuration["/interface/wlan0-wds0/common/enabled"] = "true";
    start();
    std::uint32_t wait = 0;
    driver->start_scan(true, {}, {36}, wait);
    EXPECT_EQ(wait, 1u);
    EXPECT_THAT(chip->asked, ElementsAre("wlan1 1", "wlan1 0 0100000024"));
    driver->stop_scan(true);
    interface("wlan0", "0x1002\n");
    start();
    driver->start_scan(false, {5}, {36}, wait);
    driver->stop_scan(false);
    EXPECT_THAT(chip->asked, ::testing::Each(::testing::StartsWith("wlan1 ")));
}

TEST_P(either_chip, lists_channels) {
    start();
    chip->failing = {"wlan0 5"};
    std::string text = "untouched";
    const auto listed = [&](const char* use_limit, const char* limit) {
        bus.configuration["/interface/wlan0/wlan/radio/use-limit-channels"] = use_limit;
        bus.configuration["/interface/wlan0/wlan/radio/limit-channels"] = limit;
        driver->fill_chanspecs("wlan0", text);
        return text;
    };
    EXPECT_EQ(listed("true", "36"), "untouched");
    chip->failing.clear();
    chip->replies["wlan0 5"] = fake_chip::bytes(3) + fake_chip::bytes(11) + fake_chip::bytes(1) + fake_chip::bytes(11);
    EXPECT_EQ(listed("false", "36"), "1 11 ");
    EXPECT_EQ(listed("true", ""), "1 11 ");
    EXPECT_EQ(listed("true", "auto"), "");
    EXPECT_EQ(listed("true", "44  36 40"), "36 40 44 ");
    chip->replies["wlan0 5"] = "";
    EXPECT_EQ(listed("false", "36"), "");
}

TEST_P(either_chip, lists_stations_of_active_vaps) {
    vap("wlan0-va3", "guest");
    start();
    std::string reply(8 + 2 * 28, '\0');
    reply[4] = 2;
    reply.replace(8, 6, "\x02\xaa\xbb\xcc\xdd\x01");
    chip->replies["wlan0-va3 4"] = reply;
    chip->replies["wlan0-va0 4"] = "";
    std::vector<std::string> stations;
    const auto add = [&stations](const rrm_sta_s& sta) { stations.push_back(sta.mac + sta.ssid + sta.ifname); };
    EXPECT_EQ(driver->get_assoc_stas("wlan0-va5", add), 0);
    EXPECT_THAT(stations, ElementsAre("02:aa:bb:cc:dd:01guestwlan0-va3", "00:00:00:00:00:00guestwlan0-va3"));
    EXPECT_THAT(chip->asked, ElementsAre("wlan0-va0 4 000000009024", "wlan0-va3 4 000000009024"));

    chip->asked.clear();
    chip->failing = {"wlan0-va0 4", "wlan0 roam_attempt_timeout=30", "wlan0-va0 bss-transition"};
    log_capture log(log_error_bit);
    EXPECT_EQ(driver->get_assoc_stas("wlan0", add), 0);
    EXPECT_EQ(driver->set_roam_attempt_timeout("wlan0", 30), 0);
    driver->send_bss_trans_req("wlan0-va0", "02:00:00:00:00:0f", 0);
    driver->send_bss_trans_req("wlan0-va0", "02:00:00:00:00", 0);
    EXPECT_THAT(chip->asked, ElementsAre(HasSubstr(" 4 "), HasSubstr(" 4 "), "wlan0 roam_attempt_timeout=30",
                                         "wlan0-va0 roam_attempt_timeout=30", "wlan0-va3 roam_attempt_timeout=30",
                                         "wlan0-va0 bss-transition 02000000000f"));
    EXPECT_EQ(log.count("> cannot setup roam attempt timeout for iface wlan0\n"), GetParam() ? 0 : 1);
    for (const char* line :
         {"(command = QUARN_CMD_GET_ASSOC_STAS)\n", "Error: 02:00:00:00:00:0f not found on wlan0-va0\n",
          "Error: Could not read sta_mac at iface wlan0-va0\n"})
        EXPECT_EQ(log.count(line), 1) << line;
}

TEST_P(either_chip, without_a_socket_commands_fail) {
    start();
    log_capture log(0xf);
    system.sockets_fail = true;
    ap_table table;
    std::uint32_t wait = 0;
    EXPECT_EQ(driver->fill_scan_results(table), -1);
    driver->start_scan(false, {1}, {36}, wait);
    driver->send_bss_trans_req("wlan0-va0", "02:00:00:00:00:0f", 0);
    EXPECT_THAT(chip->asked, IsEmpty());
    EXPECT_EQ(log.count("<assign:") * 10 + log.count("> socket is not created for action by ioctl\n"), 45);
    EXPECT_EQ(log.count("Cannot open sock for ifname wlan0-va0\n"), 1);
    system.sockets_fail = false;
    EXPECT_EQ(ioctl_ops::assign(1, nullptr, "wlan0-va345678901")->stop_active_scan(), -2);
    EXPECT_FALSE(ioctl_ops::assign(2, nullptr, "wlan0"));
}

TEST_F(access_point, copies_no_more_of_a_variable_than_fits) {
    start();
    chip->mibs["wlan0 chanspec"] = std::string(70, '\x11');  // says 70 bytes
    EXPECT_EQ(driver->get_chanspec("wlan0"), 0x11111111u);
    chip->mibs["wlan0 chanspec"] = "\x06";
    EXPECT_EQ(driver->get_chanspec("wlan0"), 6u);
    chip->mibs["wlan0 actual_tx_power"] = "";
    EXPECT_EQ(driver->get_tx_power("wlan0"), 16);
}

TEST_F(access_point, writes_neighbours_for_rtl8192cd) {
    vap("wlan0-va1", "a\nb");
    start();
    neighbor("home", 6);
    EXPECT_EQ(driver_file("wlan0-va0/rm_neighbor_report"), "add 02aabbccddee 0x0867 255 6 7 ssid \"home\" bssload 0 0");
    EXPECT_FALSE(system.has_file("/proc/wlan1-va0/rm_neighbor_report"));
    neighbor("home", 36, true);
    EXPECT_EQ(driver_file("wlan1-va0/rm_neighbor_report_custom"),
              "add 02aabbccddee 0x1867 255 36 9 ssid \"home\" bssload 0 0");
    driver->del_neighbors("wlan0-va0");
    driver->del_custom_neighbors("wlan1-va0");
    EXPECT_EQ(driver_file("wlan0-va0/rm_neighbor_report") + driver_file("wlan1-va0/rm_neighbor_report_custom"),
              "delalldelall");

    log_capture log(log_debug_bit | log_error_bit);
    neighbor("a\nb", 6);
    EXPECT_FALSE(system.has_file("/proc/wlan0-va1/rm_neighbor_report"));
    driver->del_neighbors("wlan0-va6");
    driver->del_neighbors("../wlan0-va0");
    driver->add_neighbor("02:aa:bb:cc:dd", "home", 6, 9, false);
    neighbor("nobody's", 6);
    EXPECT_EQ(log.count("Error rrm_nbr_del_nbr\n") + log.count("M[5] = EE\n"), 4);
    for (const char* line : {"Error rrm_nbr_add_nbr\n", "vap_id -1 are absence: ", "Execute rrm_nbr_add_nbr "})
        EXPECT_EQ(log.count(line), 1) << line;
}

struct wifi6_access_point : access_point {
    wifi6_access_point() : access_point(true) {}
};

TEST_F(wifi6_access_point, gives_neighbours_to_hostapd_and_driver) {
    vap("wlan0-va1", "a\nb");
    start();
    chip->set_number("wlan0-va0 use40M", 1);
    chip->set_number("wlan0-va0 2ndchoffset", 2);
    neighbor("home", 6);
    EXPECT_THAT(system.commands,
                ElementsAre("iwpriv wlan0-va0 get_mib use40M", "iwpriv wlan0-va0 get_mib 2ndchoffset",
                            "wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan0-va0 SET_NEIGHBOR 02:aa:bb:cc:dd:ee "
                            "ssid=686f6d65 nr=02aabbccddeeaf490000ff06070603010602"));
    EXPECT_EQ(driver_file("wlan0-va0/nb_report"), "add 02:aa:bb:cc:dd:ee 1728577536 0 6 0 9");
    chip->set_number("wlan1-va0 use40M", 256);
    neighbor("home", 36, true);
    EXPECT_THAT(system.commands.back(), HasSubstr("af590000ff24090603002400"));
    EXPECT_EQ(driver_file("wlan1-va0/nb_report_custom"), "add 02:aa:bb:cc:dd:ee 1728577536 0 36 0 9");
    // Neither of the two takes the name as text.
    neighbor("a\nb", 6);
    EXPECT_THAT(system.commands.back(), HasSubstr("ssid=610a62 "));
    EXPECT_TRUE(system.has_file("/proc/net/rtk_wifi6/wlan0-va1/nb_report"));
    // The driver's list is touched only when hostapd's command came to its end.
    bool hangs = true;
    system.on_command = [&hangs](const std::string&, std::string&) { return !hangs; };
    const std::string before = driver_file("wlan0-va0/nb_report");
    neighbor("home", 11);
    driver->del_neighbors("wlan0-va0");
    EXPECT_EQ(driver_file("wlan0-va0/nb_report"), before);
    hangs = false;
    driver->del_neighbors("wlan0-va0");
    EXPECT_EQ(system.commands.back(), "wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan0-va0 REMOVE_ALL_NEIGHBOR");
    EXPECT_EQ(driver_file("wlan0-va0/nb_report"), "delall");
}

TEST_F(wifi6_access_point, lets_no_other_name_or_value_into_a_command) {
    start();
    for (const char* value : {"-1", "x", ""}) {
        chip->mibs["wlan0 chanspec"] = value;
        EXPECT_EQ(driver->get_chanspec("wlan0"), 0u) << value;
    }
    system.commands.clear();
    for (const std::string name : {"wlan0-va0;reboot", "wlan0-$(x)", "wlan0 -va0"}) {
        const auto ops = ioctl_ops::assign(rtk_wifi6_back_end, nullptr, name.c_str());
        std::uint32_t value = 1;
        EXPECT_EQ(ops->get_mib("chanspec", value), -1);
        EXPECT_EQ(ops->set_mib("x", "1"), 0);
        EXPECT_EQ(ops->del_neighbors(), -1);
        EXPECT_EQ(ops->add_neighbor({{}, "home", 6, {}, 255, 1, false}), -1);
    }
    const auto ops = ioctl_ops::assign(rtk_wifi6_back_end, nullptr, "wlan0-va0");
    EXPECT_EQ(ops->add_neighbor({{}, "home", 256, {}, 255, 1, false}), -1);
    EXPECT_THAT(system.commands, IsEmpty());
    EXPECT_EQ(ops->add_neighbor({{}, std::string(500, 's'), 6, {}, 255, 1, false}), -1);
    EXPECT_THAT(system.commands, ::testing::Each(HasSubstr(" get_mib ")));
}

TEST_F(wifi6_access_point, reads_the_clock_around_commands_that_hang_and_starts_none_when_told_to_stop) {
    start();
    system.on_command = [this](const std::string&, std::string&) {
        system.advance_ms(2000);
        errno = ETIMEDOUT;
        return false;
    };
    const int ticks = worker.ticks;
    neighbor("home", 6);
    EXPECT_EQ(worker.ticks, ticks + 6);
    EXPECT_EQ(driver_file("wlan0-va0/nb_report"), "");
    // The rest of the list does without hostapd; the next list asks it again.
    neighbor("home", 11);
    EXPECT_EQ(system.commands.size(), 3u);
    EXPECT_EQ(driver_file("wlan0-va0/nb_report"), "add 02:aa:bb:cc:dd:ee 1728577536 0 11 0 9");
    for (int vap = 0; vap < 4; ++vap)
        driver->del_neighbors("wlan0-va0");
    EXPECT_EQ(system.commands.size(), 5u);
    EXPECT_EQ(driver_file("wlan0-va0/nb_report"), "delall");
    system.advance_ms(10000);
    driver->del_neighbors("wlan0-va0");
    EXPECT_EQ(system.commands.size(), 6u);
    worker.stop = true;
    neighbor("home", 6);
    driver->del_neighbors("wlan0-va0");
    ap_table table;
    EXPECT_EQ(driver->fill_scan_results(table), -1);
    EXPECT_EQ(system.commands.size(), 6u);
    EXPECT_THAT(chip->asked, IsEmpty());
}

}  // namespace
}  // namespace ravd::testing

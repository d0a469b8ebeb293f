// Scans, stations, neighbours and single requests, through both chip back-ends.
#include "tests/core/log_capture.h"
#include "tests/driver/access_point.h"

namespace ravd {

static bool operator==(const scan_record& a, const scan_record& b) {
    return std::tie(a.bssid, a.rssi, a.channel, a.bandwidth, a.tx_power, a.sideband) ==
           std::tie(b.bssid, b.rssi, b.channel, b.bandwidth, b.tx_power, b.sideband);
}

namespace testing {
namespace {

using ::testing::_;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_P(either_chip, scans_both_radios) {
    start();
    std::uint32_t wait = 0;
    driver->start_scan(true, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, {36, 70000}, wait);
    EXPECT_EQ(wait, 10u);
    driver->start_scan(false, {1}, {36}, wait);
    EXPECT_EQ(chip->take_asked(),
              "wlan0 1; wlan0 0 0d0000000100020003000400050006000700080009000a000b000c000d; wlan1 1; "
              "wlan1 0 0100000024; ");

    const auto word = fake_chip::bytes;
    const std::string entry = "\x02\x11\x22\x33\x44\x55??" + word(static_cast<std::uint32_t>(-61)) + word(44) +
                              word(80) + word(static_cast<std::uint32_t>(-7)) + word(0xd926);  // 40 MHz, upper
    for (const char* asked : {"wlan0 2", "wlan1 2", "wlan0 3", "wlan1 3"})
        chip->replies[asked] = word(1) + entry;
    ap_table table(7);
    const scan_record bss({2, 0x11, 0x22, 0x33, 0x44, 0x55}, -61, 44, 80, 0, 0x100);
    EXPECT_EQ(driver->fill_scan_results(table), 0);
    EXPECT_THAT(table, ElementsAre(bss, bss));
    EXPECT_EQ(chip->take_asked(), "wlan0 2 9024; wlan1 2 9024; ");  // room for 9,360
    chip->failing = {"wlan1 2"};
    EXPECT_EQ(driver->fill_scan_results(table), -1);
    EXPECT_THAT(table, ElementsAre(bss));
    chip->failing.clear();
    chip->replies["wlan1 2"] = "";  // success, and nothing written
    driver->fill_scan_results(table);
    EXPECT_THAT(table, ElementsAre(bss));

    chip->take_asked();
    driver->set_hostapd_running(false);
    driver->stop_scan(false);  // without hostapd nothing is stopped
    EXPECT_TRUE(chip->asked.empty());
    driver->set_hostapd_running(true);
    EXPECT_TRUE(driver->is_scanning());
    driver->stop_scan(false);
    EXPECT_FALSE(driver->is_scanning());
    driver->stop_scan(false);
    EXPECT_EQ(chip->take_asked(), "wlan0 rrm_scan_started=0; wlan1 rrm_scan_started=0; ");

    // After an RRM scan only radios on which it began are asked for results.
    const struct {
        channel_set wlan0, wlan1;
        std::string failing, asked;
    } rows[] = {{{6}, {}, "", "wlan0 3 9024; "},
                {{}, {}, "", ""},
                {{6}, {36}, "wlan0 rrm-scan", "wlan1 3 9024; "},
                {{6}, {36}, GetParam() ? "wlan1 rrm-scan" : "wlan1 rrm_scan_chan=36", "wlan0 3 9024; "},
                {{6}, {36}, "", "wlan0 3 9024; wlan1 3 9024; "}};
    for (const auto& row : rows) {
        chip->failing = {row.failing};
        driver->start_scan(false, row.wlan0, row.wlan1, wait);
        driver->stop_scan(false);
        chip->take_asked();
        EXPECT_EQ(driver->fill_rrm_scan_results(table), 0);
        EXPECT_EQ(chip->take_asked(), row.asked) << row.failing;
    }
    const scan_record rrm_bss(bss.bssid, -61, 40, 40, -1, 0x100);
    EXPECT_THAT(table, ElementsAre(rrm_bss, rrm_bss));
}

// Knows of scans that ended, on a board where this chip cannot tell of its own.
class other_radios_end final : public back_end_source {
  public:
    explicit other_radios_end(back_end_source& real) : real_(real) {}
    std::unique_ptr<back_end> back_end_of(activity* progress, const char* ifname) override {
        return real_.back_end_of(progress, ifname);
    }
    bool scans_over() override { return true; }

  private:
    back_end_source& real_;
};

TEST_P(either_chip, waits_for_the_slower_radio) {
    other_radios_end source(back_ends);
    driver.emplace(&running, source);
    driver->set_activity(&worker);
    start();
    const struct {
        bool active;
        channel_set wlan0, wlan1;
        std::uint32_t before, after;
    } rows[] = {{true, {1}, {}, 0, 15}, {true, {}, {36}, 0, 10}, {true, {1}, {36, 40}, 0, 2}, {true, {}, {}, 20, 20},
                {false, {}, {}, 0, 0},  {false, {5}, {}, 7, 7},  {false, {11, 5}, {}, 0, 6}};
    for (const auto& row : rows) {
        driver->stop_scan(true);
        chip->take_asked();
        std::uint32_t wait = row.before;
        driver->start_scan(row.active, row.wlan0, row.wlan1, wait);
        EXPECT_EQ(wait, row.after);
        EXPECT_EQ(driver->scan_over(), row.after == 0);
        EXPECT_EQ(chip->asked.empty(), row.after == 0);
    }
    EXPECT_EQ(chip->take_asked(), "wlan0 rrm_scan_started=0; wlan0 rrm_scan_chan=5; wlan0 rrm-scan; ");
    driver->stop_all();

    bus.configuration["/interface/wlan0/wlan/wds/enabled"] = "true";
    bus.configuration["/interface/wlan0-wds0/common/enabled"] = "true";
    for (const char* flags : {"0x1003\n", "0x1002\n"}) {  // a WDS link, then down as well
        interface("wlan0", flags);
        start();
        std::uint32_t wait = 0;
        driver->start_scan(true, {}, {36}, wait);
        EXPECT_EQ(wait, 1u);
        EXPECT_EQ(chip->take_asked(), "wlan1 1; wlan1 0 0100000024; ");
        driver->stop_scan(true);
    }
    EXPECT_EQ(chip->take_asked(), "wlan1 1; ");
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
    const auto word = fake_chip::bytes;
    const std::string readings = word(40) + word(55) + word(30) + word(0);
    chip->replies["wlan0-va3 4"] =
        word(0) + word(2) + "\x02\xaa\xbb\xcc\xdd\x01??" + readings + "\x03\x09??" + std::string(28, '\0');
    chip->replies["wlan0-va0 4"] = "";
    std::vector<rrm_sta_s> stations;
    const auto add = [&stations](const rrm_sta_s& sta) { stations.push_back(sta); };
    EXPECT_EQ(driver->get_assoc_stas("wlan0-va5", add), 0);
    ASSERT_EQ(stations.size(), 2u);
    const rrm_sta_s& sta = stations[0];
    EXPECT_EQ(sta.mac + sta.ssid + sta.ifname + stations[1].mac, "02:aa:bb:cc:dd:01guestwlan0-va300:00:00:00:00:00");
    EXPECT_THAT(sta.readings, ElementsAre(-60, -45, -70, -100));
    EXPECT_THAT((std::array{sta.rssi, sta.roam_attempts, int{sta.no_80211v}}), ElementsAre(-45, 3, 1));
    EXPECT_EQ(chip->take_asked(), "wlan0-va0 4 000000009024; wlan0-va3 4 000000009024; ");

    chip->failing = {"wlan0-va0 4", "wlan0 roam_attempt_timeout=30", "wlan0-va0 bss-transition"};
    log_capture log(log_error_bit);
    EXPECT_EQ(driver->get_assoc_stas("wlan0", add), 0);
    chip->take_asked();
    EXPECT_EQ(driver->set_roam_attempt_timeout("wlan0", 30), 0);
    driver->send_bss_trans_req("wlan0-va0", "02:00:00:00:00:0f", 0);
    driver->send_bss_trans_req("wlan0-va0", "02:00:00:00:00", 0);
    EXPECT_EQ(chip->take_asked(),
              "wlan0 roam_attempt_timeout=30; wlan0-va0 roam_attempt_timeout=30; "
              "wlan0-va3 roam_attempt_timeout=30; wlan0-va0 bss-transition 02000000000f; ");
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

TEST_P(either_chip, takes_no_more_for_a_variable_than_one) {
    start();
    using row = std::pair<std::string, std::uint32_t>;
    std::string unanswered = "chanspec";  // the request as it was
    unanswered.resize(2048);
    const std::vector<row> rows[] = {{{std::string(70, '\x11'), 0x11111111}, {"\x06", 6}, {"", 0}, {unanswered, 0}},
                                     {{"-1", 0}, {"x", 0}, {"", 0}, {"7", 7}}};
    for (const auto& [answer, value] : rows[GetParam()]) {
        chip->mibs["wlan0 chanspec"] = answer;
        EXPECT_EQ(driver->get_chanspec("wlan0"), value) << answer.c_str();
    }
    chip->mibs[GetParam() ? "wlan0 power_target" : "wlan0 actual_tx_power"] = "";
    EXPECT_EQ(driver->get_tx_power("wlan0"), 16);
}

TEST_P(either_chip, keeps_neighbour_lists) {
    const bool wifi6 = GetParam();
    vap("wlan0-va1", "a\nb");
    start();
    chip->set_number("wlan0-va0 use40M", 1);
    chip->set_number("wlan0-va0 2ndchoffset", 2);
    chip->set_number("wlan1-va0 use40M", 256);  // no octet
    neighbour("home", 6);
    neighbour("home", 36, true);
    EXPECT_EQ(list("wlan0-va0"), wifi6 ? "add 02:aa:bb:cc:dd:ee 1728577536 0 6 0 9"
                                       : "add 02aabbccddee 0x0867 255 6 7 ssid \"home\" bssload 0 0");
    EXPECT_EQ(list("wlan1-va0", true), wifi6 ? "add 02:aa:bb:cc:dd:ee 1728577536 0 36 0 9"
                                             : "add 02aabbccddee 0x1867 255 36 9 ssid \"home\" bssload 0 0");
    EXPECT_EQ(list("wlan1-va0") + list("wlan0-va0", true), "");
    log_capture log(log_debug_bit | log_error_bit);
    neighbour("a\nb", 6);  // as text in one driver's order only, where a line end would begin another
    EXPECT_EQ(list("wlan0-va1"), wifi6 ? "add 02:aa:bb:cc:dd:ee 1728577536 0 6 0 9" : "");
    if (wifi6) {
        EXPECT_THAT(system.commands,
                    ElementsAre("iwpriv wlan0-va0 get_mib use40M", "iwpriv wlan0-va0 get_mib 2ndchoffset",
                                "wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan0-va0 SET_NEIGHBOR "
                                "02:aa:bb:cc:dd:ee ssid=686f6d65 nr=02aabbccddeeaf490000ff06070603010602",
                                _, _, HasSubstr("af590000ff24090603002400"), _, _, HasSubstr("ssid=610a62 ")));
    }
    driver->del_neighbors("wlan0-va0");
    driver->del_custom_neighbors("wlan1-va0");
    EXPECT_EQ(list("wlan0-va0") + list("wlan1-va0", true), "delalldelall");
    if (wifi6) {
        EXPECT_EQ(system.commands.back(),
                  "wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan0-va0 REMOVE_ALL_NEIGHBOR");
    }
    driver->del_neighbors("wlan0-va6");
    driver->del_neighbors("../wlan0-va0");
    driver->add_neighbor("02:aa:bb:cc:dd", "home", 6, 9, false);
    neighbour("nobody's", 6);
    EXPECT_EQ(log.count("Error rrm_nbr_del_nbr\n") + log.count("M[5] = EE\n"), 4);
    EXPECT_EQ(log.count("Error rrm_nbr_add_nbr\n"), wifi6 ? 0 : 1);
    for (const char* line : {"vap_id -1 are absence: ", "Execute rrm_nbr_add_nbr "})
        EXPECT_EQ(log.count(line), 1) << line;
}

struct wifi6_access_point : access_point {
    wifi6_access_point() : access_point(true) {}
};

TEST_F(wifi6_access_point, lets_no_other_name_or_value_into_a_command) {
    start();
    for (const char* name :
         {"",        "wlan",       "wlan00",        "wlan01",     "wlan-1",      "wlan+1",          "wlan 1",
          "wlan0;x", "wlan0-$(x)", "wlan0-va",      "wlan0-va00", "wlan0-va0\n", "wlan0 -va0",      "wlan0-va0;reboot",
          "Wlan0",   "eth0",       "wlan0-va0-va0", "xwlan0",     "wlan0-vap0",  "wlan12345678-va9"}) {
        const auto ops = ioctl_ops::assign(rtk_wifi6_back_end, nullptr, name);
        std::uint32_t value = 1;
        EXPECT_EQ(ops->get_mib("chanspec", value), -1) << name;
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
    neighbour("home", 6);
    EXPECT_EQ(worker.ticks, ticks + 6);
    EXPECT_EQ(list("wlan0-va0"), "");  // touched only when hostapd's command came to its end
    // The rest of the list does without hostapd; the next list asks it again.
    neighbour("home", 11);
    EXPECT_EQ(list("wlan0-va0"), "add 02:aa:bb:cc:dd:ee 1728577536 0 11 0 9");
    for (const char* text : {"add 02:aa:bb:cc:dd:ee 1728577536 0 11 0 9", "add 02:aa:bb:cc:dd:ee 1728577536 0 11 0 9",
                             "delall", "delall"}) {
        driver->del_neighbors("wlan0-va0");
        EXPECT_EQ(list("wlan0-va0"), text);
    }
    EXPECT_EQ(system.commands.size(), 5u);
    system.advance_ms(10000);
    driver->del_neighbors("wlan0-va0");
    worker.stop = true;
    neighbour("home", 6);
    driver->del_neighbors("wlan0-va0");
    ap_table table;
    EXPECT_EQ(driver->fill_scan_results(table), -1);
    EXPECT_EQ(system.commands.size(), 6u);
    EXPECT_THAT(chip->asked, IsEmpty());
}

}  // namespace
}  // namespace testing
}  // namespace ravd

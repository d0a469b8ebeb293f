// What is computed without a radio: chanspecs, names, addresses, texts of drivers and of the configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "driver/chanspec.h"
#include "driver/converters.h"
#include "driver/driver_text.h"
#include "driver/ifname.h"
#include "tests/core/log_capture.h"

namespace ravd {
namespace {

TEST(chanspec, control_channel_bandwidth_and_names) {
    testing::fake_system::get().reset();
    testing::log_capture log(log_warning_bit);
    const struct {
        std::uint32_t chanspec, channel, mhz;
        const char *sideband, *name;
    } rows[] = {
        {0x1826, 36, 40, "lower", "lower"}, {0x1926, 40, 40, "upper", "upper"}, {0x1a26, 38, 40, "lower", "none"},
        {0x202a, 36, 80, "none", "ll"},     {0x212a, 40, 80, "none", "lu"},     {0x222a, 44, 80, "none", "ul"},
        {0x232a, 48, 80, "none", "uu"},     {0x242a, 42, 80, "none", "none"},   {0x1006, 6, 20, "none", "none"},
        {0x0006, 6, 20, "none", "none"},    {0x2003, 3, 80, "none", "ll"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.chanspec);
        EXPECT_EQ(chanspec_ctl_channel(row.chanspec), row.channel);
        EXPECT_EQ(chanspec_bw(row.chanspec), row.mhz);
        EXPECT_STREQ(chanspec_sideband(row.chanspec), row.sideband);
        EXPECT_STREQ(sideband_name(row.chanspec & chanspec_sideband_mask, row.mhz), row.name);
    }
    EXPECT_EQ(log.count("> bandwidth is not set in chanspec\n"), 1);
    EXPECT_EQ(band_of_channel(29), 2u);
    EXPECT_EQ(band_of_channel(30), 5u);
    EXPECT_EQ(parse_sideband("lu"), 2);
    EXPECT_EQ(parse_sideband("lower"), 1);
    EXPECT_EQ(parse_sideband("none"), 0);
}

TEST(ifname, only_plain_names_reach_a_command) {
    for (const char* name : {"wlan0", "wlan1", "wlan0-va0", "wlan1-va12", "wlan1234567-va9"})
        EXPECT_TRUE(is_wlan_ifname(name)) << name;
    for (const char* name :
         {"", "wlan", "wlan00", "wlan01", "wlan-1", "wlan+1", "wlan 1", "wlan0;x", "wlan0-va", "wlan0-va00",
          "wlan0-va0\n", "wlan0 -va0", "Wlan0", "eth0", "wlan0-va0-va0", "xwlan0", "wlan0-vap0", "wlan12345678-va9"})
        EXPECT_FALSE(is_wlan_ifname(name)) << name;
    EXPECT_FALSE(is_wlan_ifname(nullptr));
}

TEST(ifname, numbers_are_read_from_the_start_of_a_name) {
    EXPECT_EQ(radio_index("wlan1-va3"), 1);
    EXPECT_EQ(radio_index("wlan2"), 2);
    EXPECT_EQ(radio_index("wlan99999999999999999999"), 2147483647);
    for (const char* name : {"", "eth0", "wlan", "wlan-va0"})
        EXPECT_EQ(radio_index(name), -1) << name;
    int radio = 0, vap = 0;
    EXPECT_TRUE(parse_vap_ifname("wlan1-va3.sta7", radio, vap));
    EXPECT_EQ(radio * 10 + vap, 13);
    for (const char* name : {"wlan1", "wlan1-va", "wlan-va1", "va1"})
        EXPECT_FALSE(parse_vap_ifname(name, radio, vap)) << name;
}

TEST(driver_text, reply_of_iwpriv) {
    const struct {
        const char* text;
        int read, value;
        const char* word;
    } rows[] = {{"wlan0     get_mib:23  \n", 2, 23, "wlan0"},
                {"wlan0 get_mib: -4", 2, -4, "wlan0"},
                {"\n\twlan1get_mib:5", 1, -1, "wlan1get_mib:5"},
                {"wlan0 get_mib:x", 1, -1, "wlan0"},
                {"wlan0 set_mib:1", 1, -1, "wlan0"},
                {"", -1, -1, ""},
                {" \n ", -1, -1, ""},
                {"wlan0 get_mib:99999999999999999999", 2, 2147483647, "wlan0"}};
    for (const auto& row : rows) {
        std::string word;
        int value = -1;
        EXPECT_EQ(scan_mib_reply(row.text, word, value), row.read) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
        EXPECT_EQ(word, row.word);
    }
    std::string word;
    int value = 0;
    EXPECT_EQ(scan_mib_reply((std::string(128, 'w') + " get_mib:1").c_str(), word, value), 1);
    EXPECT_EQ(word.size(), 127u);
}

TEST(driver_text, value_of_a_table) {
    EXPECT_EQ(find_driver_value("a: 1\ncoexist\n  coexist: 1: 2\ncoexist: 3\n", "coexist"), "1: 2");
    EXPECT_EQ(find_driver_value("x: coexist: 7", "coexist"), "coexist: 7");
    EXPECT_EQ(find_driver_value("coexist:1\n\n", "coexist"), "");
    EXPECT_EQ(to_hex("a\xff"), "61ff");
}

TEST(converters, settings) {
    using ::testing::ElementsAre;
    EXPECT_THAT(*parse_channel_list(nullptr, "  44 36  40 36 "), ElementsAre(36, 40, 44));
    EXPECT_THAT(*parse_channel_list(nullptr, "-1 0 65536 x 11x 99999999999"), ElementsAre(11));
    for (const char* text : {"", "   ", "none"})
        EXPECT_FALSE(parse_channel_list(nullptr, text));
    EXPECT_EQ(parse_number(nullptr, "20"), 20u);
    for (const char* text : {"", "max", "-3"})
        EXPECT_FALSE(parse_number(nullptr, text));
    EXPECT_EQ(parse_ssid(nullptr, std::string(200, 's'))->size(), 129u);
    for (const char* text : {"TRUE", "true ", ""})
        EXPECT_FALSE(*parse_boolean(nullptr, text));
    EXPECT_FALSE(get_config_bandwidth_cb(nullptr, "160"));
    EXPECT_FALSE(get_config_primary_cb(nullptr, "none"));
}

}  // namespace
}  // namespace ravd

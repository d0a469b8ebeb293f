// What is done without a radio: reading records of custom commands, honest and not, and texts; chanspecs and names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "core/ifname.h"
#include "driver/chanspec.h"
#include "driver/converters.h"
#include "driver/realtek/device_text.h"
#include "driver/realtek/quarn_command.h"
#include "tests/core/log_capture.h"

namespace ravd {
namespace {

using ::testing::ElementsAre;

TEST(reply, counts_never_lead_out_of_the_record) {
    testing::fake_system::get().reset();
    testing::log_capture log(log_info_bit | log_error_bit);
    const auto record = std::make_unique<quarn_command_t>();
    const auto parsed = [&record](auto parse, auto container) {
        parse(*record, container);
        return container.size();
    };
    const struct {
        std::uint32_t count;
        std::size_t entries, channels;
    } rows[] = {{0, 0, 0}, {3, 3, 3}, {9360, 4680, 9360}, {65536, 4680, 32765}, {4294967295, 4680, 32765}};
    for (const auto& row : rows) {
        for (std::uint32_t i = 0; i < 32765; ++i)
            std::memcpy(record->bytes + 8 + 4 * i, &i, sizeof i);
        std::memcpy(record->bytes + 4, &row.count, sizeof row.count);
        EXPECT_EQ(parsed(parse_scan_result, ap_table()), row.entries);
        EXPECT_EQ(parsed(parse_rrm_scan_result, ap_table()), row.entries);
        EXPECT_EQ(parsed(parse_available_channels, channel_set()), row.channels);
        std::memcpy(record->bytes + 8, &row.count, sizeof row.count);
        EXPECT_EQ(parsed(parse_assoc_sta, std::vector<rrm_sta_s>()), row.entries);
    }
    for (const char* text : {"> scanning result are absent\n", "> rrm scanning result are absent\n",
                             "> associated clients are absent\n", "> available channels data are absent\n"})
        EXPECT_EQ(log.count(text), 1) << text;
}

TEST(reply, scan_orders_are_cut_to_the_record) {
    const auto record = std::make_unique<quarn_command_t>();
    channel_set channels;
    for (std::uint32_t channel = 0; channel < 66000; ++channel)
        channels.insert(channel);
    fill_scan_channels(*record, channels);
    std::uint32_t count = 0;
    std::memcpy(&count, record->bytes + 4, sizeof count);
    EXPECT_EQ(count, 65531u);
    EXPECT_EQ(record->bytes[131068] | record->bytes[131069] << 8, 65530);
    EXPECT_EQ(scan_channel_count({65536, 70000}), 0u);
}

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
    EXPECT_EQ(band_of_channel(29) * 10 + band_of_channel(30), 25u);
    EXPECT_EQ(parse_sideband("lu") * 100 + parse_sideband("lower") * 10 + parse_sideband("none"), 210);
}

TEST(driver_text, numbers_and_tables) {
    EXPECT_EQ(radio_index("wlan99999999999999999999"), 2147483647);
    std::string word;
    int value = 0;
    EXPECT_EQ(scan_mib_reply("\n wlan0\tget_mib: -99999999999999999999", word, value), 2);
    EXPECT_EQ(word + std::to_string(value), "wlan0-2147483648");
    EXPECT_EQ(scan_mib_reply("wlan0get_mib:5", word, value), 1);
    EXPECT_EQ(find_driver_value("a: 1\ncoexist\n  coexist: 1: 2\ncoexist: 3\n", "coexist"), "1: 2");
    EXPECT_EQ(find_driver_value("coexist:1\n\n", "coexist"), "");
}

TEST(converters, settings) {
    EXPECT_THAT(*parse_channel_list(nullptr, "  44 36  40 36 "), ElementsAre(36, 40, 44));
    EXPECT_THAT(*parse_channel_list(nullptr, "-1 0 65536 x 11x 99999999999"), ElementsAre(11));
    EXPECT_FALSE(parse_channel_list(nullptr, ""));
    EXPECT_FALSE(parse_number(nullptr, "max") || parse_number(nullptr, "-3"));
    EXPECT_FALSE(*parse_boolean(nullptr, "TRUE") || *parse_boolean(nullptr, "true "));
    EXPECT_FALSE(get_config_bandwidth_cb(nullptr, "160") || get_config_primary_cb(nullptr, "none"));
}

}  // namespace
}  // namespace ravd

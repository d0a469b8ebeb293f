// Scans, channels and power of a radio of mainline Linux.
#include <cstring>

#include "driver/chanspec.h"
#include "driver/nl80211/channel_block.h"
#include "tests/driver/nl80211/mainline_access_point.h"

namespace ravd::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string text_of(const ap_table& table) {
    std::string text;
    for (const scan_record& one : table)
        text += std::to_string(one.bssid[4]) + ":" + std::to_string(one.channel) + "/" + std::to_string(one.bandwidth) +
                sideband_name(one.sideband, one.bandwidth) + " " + std::to_string(one.rssi) + "; ";
    return text;
}

TEST_F(mainline_access_point, tells_channel_and_power_of_the_vap) {
    std::uint32_t value = 0;
    for (const char* name : {"wlan0", "wlan0-va0"}) {
        EXPECT_EQ(back_ends.back_end_of(this, name)->get_chanspec(value), 0);
        EXPECT_EQ(value, chanspec_bw_40 | chanspec_sb_lower | 8u);
        EXPECT_EQ(back_ends.back_end_of(this, name)->get_tx_power(value), 0);
        EXPECT_EQ(value, 30u);
    }
    channel_set channels;
    EXPECT_EQ(radio()->get_available_channels(channels), 0);
    EXPECT_THAT(channels,
                ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));  // of this band, as the rules of the US have it
}

TEST_F(mainline_access_point, scans_what_is_ordered_and_reports_that_alone) {
    EXPECT_EQ(scan({1, 6, 11, 36, 200, 70000}), 0);
    EXPECT_EQ(calls(), "scan 2 flush 2412 2437 2462 5180; ");
    EXPECT_EQ(radio()->active_scan_s({{1, 6, 11, 36}, false}), 3u);
    EXPECT_FALSE(back_ends.memory().scans_over());
    system.advance_ms(900);
    kernel.raise(wireless_event::scan_finished, 7);  // another radio's
    back_ends.memory().take_events();
    EXPECT_FALSE(back_ends.memory().scans_over());
    kernel.raise(wireless_event::scan_finished);
    back_ends.memory().take_events();
    EXPECT_TRUE(back_ends.memory().scans_over());

    kernel.recorded_age_ms = 700;
    kernel.hear({2, 0, 0, 0, 50, 0}, 5180, -71, 899);
    kernel.hear({2, 0, 0, 0, 51, 0}, 5180, -72, 1100);  // of an earlier scan
    kernel.hear({2, 0, 0, 0, 52, 0}, 2412, -73, 10);    // whose elements belong to another channel
    kernel.hear({2, 0, 0, 0, 53, 0}, 2457, -74, 10);    // a channel that nobody asked for
    kernel.hear({2, 0, 0, 0, 50, 0}, 5180, -75, 10);    // told twice
    kernel.hear({0x42, 0, 0, 0, 0, 0}, 5180, -76, 10);  // the VAP itself
    EXPECT_EQ(text_of(results()), "3:11/20none -20; 2:36/80ll -27; 50:36/80ll -71; 52:1/20none -73; ");
    EXPECT_EQ(calls(), "");

    // No channel: all of the band; nothing where another radio's were named, nor the results of before.
    EXPECT_EQ(scan({}), 0);
    EXPECT_THAT(calls(), HasSubstr(" 2462; "));
    EXPECT_EQ(radio()->start_active_scan({{}, false}), 0);
    EXPECT_EQ(radio()->active_scan_s({{}, false}), 0u);
    EXPECT_EQ(calls() + text_of(results()), "");
    EXPECT_EQ(scan({200}), -1);
    EXPECT_EQ(calls() + text_of(results()), "");
}

TEST_F(mainline_access_point, reports_no_more_than_fits) {
    scan({36, 40});
    for (int i = 0; i < 3000; ++i)
        kernel.hear({4, 0, 0, 0, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8)}, 5200, -80, 0);
    EXPECT_EQ(results().size(), 1025u);
    kernel.air.resize(200);
    EXPECT_EQ(results().size(), 201u);
}

TEST_F(mainline_access_point, breaks_off_a_scan_that_does_not_end) {
    log_capture log(log_error_bit | log_warning_bit);
    const double began = system.now_s();
    for (const bool ends : {true, false}) {
        kernel.aborts_end = ends;
        EXPECT_EQ(radio()->start_rrm_scan(36), 0);
        EXPECT_EQ(calls(), "scan 2 flush 5180; ");
        system.advance_ms(6000);
        EXPECT_EQ(text_of(results()), "2:36/80ll -27; ");
        EXPECT_EQ(calls(), "abort 2; ");
        EXPECT_EQ(radio()->stop_rrm_scan(), 0);
        EXPECT_EQ(calls(), "");
    }
    EXPECT_EQ(log.count("wlan0: the scan of 1 channels did not end within 6000 ms and is stopped\n"), 2);
    EXPECT_EQ(log.count("wlan0: the scan cannot be stopped\n"), 1);
    EXPECT_LT(system.now_s() - began, 13);

    // Its end went unheard: nothing to break off, and nothing wrong.
    scan({36});
    kernel.failing["abort_scan"] = -ENOENT;
    EXPECT_EQ(radio()->stop_active_scan(), 0);
    scan({36});
    kernel.raise(wireless_event::interface_removed);
    back_ends.memory().take_events();
    EXPECT_TRUE(back_ends.memory().scans_over());
    EXPECT_EQ(log.count("broken off"), 1);
    EXPECT_EQ(log.count("cannot"), 1);
}

TEST_F(mainline_access_point, gives_way_to_another_program_for_a_moment) {
    kernel.busy_scans = 3;
    kernel.other_scan_ends = true;
    EXPECT_EQ(scan({1}), 0);
    EXPECT_FALSE(back_ends.scans_over());  // the other's end is not this one's
    kernel.raise(wireless_event::scan_finished);
    EXPECT_TRUE(back_ends.scans_over());
    kernel.only_listens = true;
    calls();
    EXPECT_EQ(scan({1}), 0);
    EXPECT_EQ(calls(), "scan 2 flush passive 2412; ");
    kernel.busy_scans = 1000;
    const double began = system.now_s();
    EXPECT_EQ(scan({1}), -1);
    EXPECT_LT(system.now_s() - began, 1.2);
    EXPECT_EQ(text_of(results()), "");
    calls();
    stop = true;  // told to end: nothing is begun
    EXPECT_EQ(scan({1}), -1);
    EXPECT_EQ(calls(), "");
}

// Whatever fails is in the log with its reason, answered neutrally, and good again when the kernel is.
TEST_F(mainline_access_point, survives_what_the_kernel_answers) {
    scan({36});
    for (const char* call :
         {"interface_index", "get_interface", "list_interfaces", "get_phy", "trigger_scan", "get_scan"})
        for (const int error : {ENODEV, ENETDOWN, ERFKILL, EOPNOTSUPP, ETIMEDOUT, ENOENT}) {
            log_capture log(log_error_bit);
            const int opened = kernel.opened;
            kernel.failing[call] = -error;
            std::uint32_t value = 7;
            channel_set channels;
            ap_table table;
            scan({36});
            EXPECT_EQ(radio()->get_scan_results(table), 0);  // else another radio would not be asked
            radio()->get_chanspec(value);
            radio()->get_available_channels(channels);
            EXPECT_EQ(log.count(std::string("wlan0: cannot ")), log.count(std::strerror(error))) << call;
            EXPECT_GT(log.count(std::strerror(error)), 0) << call;
            // A family that is not known any more is looked for again.
            kernel.failing.clear();
            EXPECT_EQ(scan({36}), 0);
            EXPECT_EQ(kernel.opened > opened, error == ENOENT) << call;
            EXPECT_EQ(text_of(results()), "2:36/80ll -27; ");
        }
    kernel.failing["open"] = -ENOENT;
    nl80211_back_ends without(&fake_kernel::open);
    std::uint32_t value = 7;
    EXPECT_EQ(without.back_end_of(this, "wlan0")->get_chanspec(value), -1);
    EXPECT_EQ(value, 0u);
    EXPECT_FALSE(without.back_end_of(nullptr, nullptr)->get_obss_coex());
}

TEST(channel_block, tells_blocks_as_chanspecs) {
    const struct {
        std::uint32_t frequency, width, centre, chanspec;
    } rows[] = {{2412, 20, 2412, 0x1001},
                {2484, 20, 2484, 0x100e},
                {2437, 40, 2447, 0x1808},
                {2437, 40, 2427, 0x1904},
                {5180, 80, 5210, 0x202a},
                {5200, 80, 5210, 0x212a},
                {5220, 80, 5210, 0x222a},
                {5240, 80, 5210, 0x232a},
                {5180, 160, 5250, 0x202a},
                {5320, 160, 5250, 0x233a},
                // What no chanspec can tell, or what does not belong together.
                {5955, 20, 5955, 0},
                {0, 0, 0, 0},
                {5180, 0, 5180, 0},
                {5180, 40, 5210, 0},
                {5180, 80, 5250, 0},
                {5180, 20, 5190, 0},
                {5180, 160, 5570, 0}};
    for (const auto& row : rows) {
        wireless_interface interface;
        interface.frequency = row.frequency;
        interface.width = row.width;
        interface.centre = row.centre;
        EXPECT_EQ(chanspec_of(interface), row.chanspec) << row.frequency << " " << row.width << " " << row.centre;
    }
    for (std::uint32_t channel = 0; channel < 300; ++channel)
        if (const std::uint32_t mhz = frequency_of_channel(channel)) {
            EXPECT_EQ(channel_of_frequency(mhz), channel);
        }
}

}  // namespace
}  // namespace ravd::testing

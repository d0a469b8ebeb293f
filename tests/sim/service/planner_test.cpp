// Choices of the automatic mode on crafted air.
#include "sim/service/planner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravd::lab {
namespace {

radio_view radio_2(int channel) {
    radio_view r;
    r.active = true;
    r.locked_for_dca = r.locked_for_tpc = false;
    r.power = 16;
    r.power_max = 20;
    r.power_min = 8;
    r.channel = channel;
    r.band = 2;
    r.bandwidth = 20;
    r.primary = "none";
    for (int c = 1; c <= 13; ++c)
        r.available.push_back(c);
    return r;
}

radio_view radio_5(int channel, std::vector<int> available) {
    radio_view r = radio_2(channel);
    r.id = 1;
    r.band = 5;
    r.available = std::move(available);
    return r;
}

heard_bss bss(int channel, int rssi, int bandwidth = 20, const char* primary = "none") {
    static int number = 0;
    return {"02:00:00:00:00:" + std::to_string(10 + ++number % 90), rssi, channel, 0, primary, bandwidth, 0};
}

TEST(Planner, ChoosesTheLeastOccupiedChannel) {
    const struct {
        const char* what;
        radio_view radio;
        std::vector<heard_bss> heard;
        int channel;
        int bandwidth;
        const char* primary;
    } cases[] = {
        {"two of three taken", radio_2(1), {bss(1, -40), bss(6, -50)}, 11, 20, "none"},
        {"all taken, one far away", radio_2(1), {bss(1, -40), bss(6, -88), bss(11, -45)}, 6, 20, "none"},
        {"nothing heard: stays, also beside 1, 6 and 11", radio_2(3), {}, 3, 20, "none"},
        {"not worth the change", radio_2(6), {bss(6, -94)}, 6, 20, "none"},
        {"a wide neighbour takes both of its halves",
         radio_2(1),
         {bss(1, -40, 40, "lower"), bss(11, -70)},
         11,
         20,
         "none"},
        {"quiet 5 GHz: widest", radio_5(36, {36, 40, 44, 48}), {}, 36, 80, "none"},
        {"one half loud: the other, 40 MHz",
         radio_5(36, {36, 40, 44, 48}),
         {bss(36, -35), bss(36, -35), bss(40, -35), bss(40, -35)},
         44,
         40,
         "lower"},
        {"upper half only", radio_5(36, {36, 44, 48}), {bss(36, -35), bss(44, -60)}, 48, 40, "upper"},
        {"block not whole: narrow", radio_5(36, {36, 44}), {bss(36, -35), bss(36, -35)}, 44, 20, "none"},
        {"without a block of its own", radio_5(165, {165}), {bss(165, -35)}, 165, 20, "none"},
        {"leaves a channel it may not use", radio_5(52, {36}), {bss(36, -40)}, 36, 20, "none"},
    };
    for (const auto& c : cases) {
        const std::vector<decision> plans = plan({c.radio}, c.heard);
        ASSERT_EQ(plans.size(), 1u);
        EXPECT_EQ(plans[0].channel, c.channel) << c.what;
        EXPECT_EQ(plans[0].bandwidth, c.bandwidth) << c.what;
        EXPECT_EQ(plans[0].primary, c.primary) << c.what;
    }
}

TEST(Planner, RespectsLocksAndRadiosThatAreDown) {
    radio_view dca = radio_2(6);
    dca.locked_for_dca = true;
    radio_view tpc = radio_5(36, {36, 40, 44, 48});
    tpc.locked_for_tpc = true;
    radio_view down = radio_2(1);
    down.active = false;
    const std::vector<decision> plans = plan({dca, tpc, down}, {bss(6, -40), bss(6, -40), bss(36, -40)});
    ASSERT_EQ(plans.size(), 2u);
    EXPECT_FALSE(plans[0].set_channel);
    EXPECT_EQ(plans[0].channel, 6);
    EXPECT_TRUE(plans[0].set_power);
    EXPECT_TRUE(plans[1].set_channel);
    EXPECT_FALSE(plans[1].set_power);
}

TEST(Planner, PowerFallsWithLoudNeighboursBetweenItsLimits) {
    std::vector<heard_bss> heard;
    int last = 21;
    for (int neighbours = 0; neighbours <= 6; ++neighbours) {
        radio_view radio = radio_2(6);
        radio.available = {6};
        const int power = plan({radio}, heard)[0].power;
        EXPECT_LE(power, last);
        EXPECT_GE(power, 8);
        if (neighbours == 0) {
            EXPECT_EQ(power, 20);
        }
        last = power;
        heard.push_back(bss(6, -60));
    }
    EXPECT_EQ(last, 8);
}

TEST(Planner, CountsEveryBssOnceAndNotItsOwn) {
    heard_bss twice = bss(6, -65);
    heard_bss again = twice;
    again.rssi = -35;
    EXPECT_DOUBLE_EQ(load_on(channel_span(6, 20, ""), {twice, again}, {}), 1.0);
    EXPECT_DOUBLE_EQ(load_on(channel_span(6, 20, ""), {twice}, {twice.bssid}), 0.0);
    twice.bssid = "02:ab:00:00:00:01";
    EXPECT_DOUBLE_EQ(load_on(channel_span(6, 20, ""), {twice}, {"02:AB:00:00:00:01"}), 0.0);
    EXPECT_DOUBLE_EQ(load_on(channel_span(8, 20, ""), {again}, {}), 1.0);
    EXPECT_DOUBLE_EQ(load_on(channel_span(36, 80, ""), {bss(40, -35), bss(44, -35, 40, "lower")}, {}), 2.0);
    EXPECT_DOUBLE_EQ(load_on(channel_span(36, 20, ""), {bss(40, -35, 80, "lu")}, {}), 1.0);
    EXPECT_DOUBLE_EQ(load_on(channel_span(6, 20, ""), {bss(2147483647, -35), bss(-5, -35)}, {}), 0.0);
    EXPECT_DOUBLE_EQ(weight(35), weight(-65));  // positive values count from -100
}

TEST(ChannelSpan, FollowsTheControlChannel) {
    const struct {
        int channel;
        int bandwidth;
        const char* primary;
        int low;
    } cases[] = {{1, 20, "", 2402},       {14, 20, "", 2474},      {6, 40, "lower", 2427}, {6, 40, "upper", 2407},
                 {36, 40, "lower", 5170}, {40, 40, "upper", 5170}, {40, 40, "", 5170},     {48, 80, "none", 5170},
                 {44, 80, "ul", 5170},    {149, 80, "", 5735},     {165, 80, "", 5815}};
    for (const auto& c : cases) {
        const span s = channel_span(c.channel, c.bandwidth, c.primary);
        EXPECT_EQ(s.low, c.low) << c.channel << " " << c.bandwidth << c.primary;
        EXPECT_EQ(s.high, c.low + c.bandwidth);
    }
}

}  // namespace
}  // namespace ravd::lab

// The automatic mode: its choices on crafted air, its conversation on a clock of numbers, its chart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/service/pilot.h"
#include "sim/service/planner.h"
#include "sim/service/presentation.h"

namespace ravd::sim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

radio_view radio(int channel, std::vector<int> available = {1, 6, 11}, int power = 16) {
    radio_view r;
    r.active = true;
    r.locked_for_dca = r.locked_for_tpc = false;
    r.band = channel < 30 ? 2 : 5;
    r.bandwidth = 20;
    r.primary = "none";
    r.channel = channel;
    r.power = power;
    r.power_min = 8;
    r.power_max = 20;
    r.available = std::move(available);
    return r;
}

reported_bss bss(int channel, int rssi, int bandwidth = 20, const char* primary = "none") {
    static int number = 0;
    return {"02:00:00:00:00:" + std::to_string(10 + ++number % 90), rssi, channel, 0, primary, bandwidth, 0};
}

TEST(Planner, ChoosesTheLeastOccupiedChannel) {
    const std::vector<int> block = {36, 40, 44, 48};
    const struct {
        const char* what;
        radio_view radio;
        std::vector<reported_bss> heard;
        std::string setting;
    } cases[] = {
        {"all taken, one far away", radio(1), {bss(1, -40), bss(6, -88), bss(11, -45)}, "6 20 none"},
        {"nothing heard: stays, also beside 1, 6 and 11", radio(3, {1, 2, 3, 4, 5, 6}), {}, "3 20 none"},
        {"not worth the change", radio(6), {bss(6, -94)}, "6 20 none"},
        {"a wide neighbour takes both of its halves", radio(1), {bss(1, -40, 40, "lower"), bss(11, -70)}, "11 20 none"},
        {"quiet 5 GHz: widest", radio(36, block), {}, "36 80 none"},
        {"one half loud: the other", radio(36, block), {bss(36, -35), bss(36, -35), bss(40, -35)}, "44 40 lower"},
        {"upper half only", radio(36, {36, 44, 48}), {bss(36, -35), bss(44, -60)}, "48 40 upper"},
        {"block not whole: narrow", radio(36, {36, 44}), {bss(36, -35), bss(36, -35)}, "44 20 none"},
        {"without a block of its own", radio(165, {165}), {bss(165, -35)}, "165 20 none"},
        {"leaves a channel it may not use", radio(52, {36}), {bss(36, -40)}, "36 20 none"},
    };
    for (const auto& c : cases) {
        const decision d = plan({c.radio}, c.heard).at(0);
        EXPECT_EQ(std::to_string(d.channel) + " " + std::to_string(d.bandwidth) + " " + d.primary, c.setting) << c.what;
    }
}

TEST(Planner, LowersThePowerAndRespectsLocks) {
    std::vector<reported_bss> heard;
    for (const int power : {20, 17, 13, 10, 8, 8}) {
        EXPECT_NEAR(plan({radio(6, {6})}, heard)[0].power, power, 1) << heard.size();
        heard.push_back(bss(6, -60));
    }
    radio_view dca = radio(6), tpc = radio(36, {36, 40, 44, 48}), down = radio(1);
    dca.locked_for_dca = tpc.locked_for_tpc = true;
    down.active = false;
    const std::vector<decision> plans = plan({dca, tpc, down}, {bss(6, -40), bss(6, -40), bss(36, -40)});
    ASSERT_EQ(plans.size(), 2u);
    EXPECT_TRUE(!plans[0].set_channel && plans[0].set_power && plans[1].set_channel && !plans[1].set_power);
    EXPECT_EQ(plans[0].channel, 6);
}

TEST(Planner, CountsEveryBssOnceAndNotItsOwn) {
    const span six = channel_span(6, 20, "");
    reported_bss once = bss(6, -65);
    once.bssid = "02:ab:00:00:00:01";
    reported_bss again = once;
    again.rssi = 65;  // positive values count from -100
    EXPECT_DOUBLE_EQ(load_on(six, {once, again}, {}), 1.0);
    EXPECT_DOUBLE_EQ(load_on(six, {once}, {"02:AB:00:00:00:01"}), 0.0);
    EXPECT_DOUBLE_EQ(load_on(six, {bss(2147483647, -35), bss(-5, -35)}, {}), 0.0);
}

TEST(ChannelSpan, FollowsTheControlChannel) {
    const struct {
        int channel, bandwidth;
        const char* primary;
        int low;
    } cases[] = {{14, 20, "", 2474},      {6, 40, "lower", 2427}, {6, 40, "upper", 2407},  {40, 40, "upper", 5170},
                 {40, 40, "none", 5170},  {48, 80, "none", 5170}, {44, 80, "ul", 5170},    {149, 80, "", 5735},
                 {165, 80, "none", 5815}, {36, 20, "none", 5170}, {36, 40, "lower", 5170}, {1, 20, "none", 2402}};
    for (const auto& c : cases) {
        const span s = channel_span(c.channel, c.bandwidth, c.primary);
        EXPECT_EQ(s.low, c.low) << c.channel << " " << c.bandwidth << c.primary;
        EXPECT_EQ(s.high, c.low + c.bandwidth);
    }
}

class Pilot : public testing::Test {
  protected:
    pilot subscribed(unsigned rounds = 1) {
        auto_options options;
        options.rounds = rounds;
        options.channels = "1 6 11";
        options.interval = 5;
        const auto send = [this](const json_ptr& message) {
            sent.push_back(json_compact(message.get()));
            return link_up;
        };
        pilot made(
            options, context, send, [](const std::string&) {}, [](const json_ptr&) {});
        made.subscribed(0);
        return made;
    }
    const std::vector<reported_bss> loud = {bss(6, -35), bss(1, -35)};

    order_context context;
    bool link_up = true;
    std::vector<std::string> sent;
};

TEST_F(Pilot, AppliesAndVerifiesRoundByRound) {
    pilot p = subscribed(2);
    for (int round = 0; round < 2; ++round) {
        EXPECT_THAT(sent, ElementsAre(HasSubstr(R"("cmd":"rrm-update","rrm-scan-channels":"1 6 11")")));
        p.scanned({radio(6)}, loud, 90);
        p.described("rrm-config-changed", {radio(11)}, 95);  // the power is still on its way
        EXPECT_FALSE(p.done());
        sent.clear();
        p.described("rrm-config-changed", {radio(11, {}, 20)}, 100);
        p.turn(104.9);
        EXPECT_TRUE(sent.empty());
        p.turn(105);
    }
    EXPECT_TRUE(p.done() && p.passed());
}

TEST_F(Pilot, EndsWhateverIsMissing) {
    pilot unconvinced = subscribed();
    unconvinced.scanned({radio(6)}, loud, 10);
    for (double now = 10; now < 69; ++now)
        unconvinced.turn(now);
    EXPECT_THAT(sent, testing::Contains(HasSubstr("rrm-request-mode")).Times(5));
    unconvinced.turn(70);
    EXPECT_TRUE(unconvinced.done() && !unconvinced.passed());
    pilot silent = subscribed();
    silent.turn(180);
    EXPECT_TRUE(silent.done() && !silent.passed());
    pilot down = subscribed();
    down.scanned({}, {}, 1);
    EXPECT_TRUE(down.done() && !down.passed());
    pilot locked = subscribed();
    radio_view fixed = radio(6);
    fixed.locked_for_dca = fixed.locked_for_tpc = true;
    sent.clear();
    locked.scanned({fixed}, loud, 1);
    EXPECT_TRUE(sent.empty() && locked.done() && locked.passed());
    link_up = false;
    const pilot cut = subscribed();
    EXPECT_TRUE(cut.done() && !cut.passed());
}

TEST(Chart, ShowsTheLoadOfEveryChannel) {
    EXPECT_EQ(occupancy_chart({radio(6)}, {bss(1, -35), bss(1, -35), bss(11, -35), bss(2147483647, 0, 2147483647)}),
              "  channel load BSSs loudest\n"
              "        1 2.00    2     -35 |########################################\n"
              "        6 0.00    0         | <- in use\n"
              "       11 1.00    1     -35 |####################");
    std::vector<reported_bss> heard;
    for (int i = 0; i < 50; ++i)
        heard.push_back({"n" + std::to_string(i), -90 + i, 1, 0, "none", 20, 0});
    const std::string table = environment_table(heard, 2);
    EXPECT_LT(table.find("n49"), table.find("n48"));
    EXPECT_THAT(table, HasSubstr("and 48 more"));
}

}  // namespace
}  // namespace ravd::sim

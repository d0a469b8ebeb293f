// The automatic mode as a conversation, on a clock of numbers.
#include "sim/service/pilot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravd::lab {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class Pilot : public testing::Test {
  protected:
    pilot make(unsigned rounds = 1) {
        auto_options options;
        options.rounds = rounds;
        options.channels = "1 6 11";
        options.interval = 5;
        return pilot(
            options,
            [this](const std::string& command) {
                sent.push_back(command);
                return link_up;
            },
            [this](const std::string& text) { said.push_back(text); });
    }
    static std::vector<radio_view> radio(int channel, int power) {
        radio_view r;
        r.active = true;
        r.locked_for_dca = r.locked_for_tpc = false;
        r.band = 2;
        r.bandwidth = 20;
        r.primary = "none";
        r.channel = channel;
        r.power = power;
        r.power_min = 8;
        r.power_max = 20;
        r.available = {1, 6, 11};
        return {r};
    }
    const std::vector<heard_bss> loud_on_6_and_1 = {{"a", -35, 6, 0, "none", 20, 0}, {"b", -35, 1, 0, "none", 20, 0}};

    bool link_up = true;
    std::vector<std::string> sent;
    std::vector<std::string> said;
};

TEST_F(Pilot, ScansChoosesAppliesAndVerifiesThroughSeveralChanges) {
    pilot p = make(2);
    for (int round = 0; round < 2; ++round) {
        sent.clear();
        round == 0 ? p.subscribed(0) : p.turn(105);
        EXPECT_THAT(sent, ElementsAre("scan channels=1,6,11"));
        p.scanned(radio(6, 16), loud_on_6_and_1, 90);
        EXPECT_EQ(sent.back(), "config use-dca=1 use-tpc=1 radio=0 channel=11 bandwidth=20 power=20");
        p.described("rrm-config-changed", radio(11, 16), 95);  // the power is still on its way
        EXPECT_FALSE(p.done());
        p.described("rrm-config-changed", radio(11, 20), 100);
        EXPECT_THAT(said, Contains(HasSubstr("PASS radio 0")));
    }
    EXPECT_TRUE(p.done());
    EXPECT_TRUE(p.passed());
}

TEST_F(Pilot, AsksForADescriptionAndGivesUpInTheEnd) {
    pilot p = make();
    p.subscribed(0);
    p.scanned(radio(6, 16), loud_on_6_and_1, 10);
    for (double now = 10; now < 69; ++now)
        p.turn(now);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "mode"), 5);
    p.described("rrm-mode-response", radio(6, 20), 69);
    p.turn(70);
    EXPECT_TRUE(p.done());
    EXPECT_FALSE(p.passed());
    EXPECT_THAT(said, Contains(HasSubstr("channel 6 instead of 11")));
}

TEST_F(Pilot, FailsWithoutReportRadioOrLink) {
    pilot silent = make();
    silent.subscribed(0);
    silent.turn(180);
    EXPECT_TRUE(silent.done() && !silent.passed());
    pilot down = make();
    down.subscribed(0);
    down.scanned({}, {}, 1);
    EXPECT_TRUE(down.done() && !down.passed());
    link_up = false;
    pilot cut = make();
    cut.subscribed(0);
    EXPECT_TRUE(cut.done() && !cut.passed());
}

TEST_F(Pilot, HasNothingToOrderWhenEverythingIsLocked) {
    pilot p = make();
    p.subscribed(0);
    std::vector<radio_view> locked = radio(6, 16);
    locked[0].locked_for_dca = locked[0].locked_for_tpc = true;
    p.scanned(locked, loud_on_6_and_1, 1);
    EXPECT_EQ(sent.size(), 1u);
    EXPECT_TRUE(p.done() && p.passed());
}

}  // namespace
}  // namespace ravd::lab

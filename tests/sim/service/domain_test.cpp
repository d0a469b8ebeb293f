// The planner of the domain: what it reads from reports, what it proposes, and within which limits.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/service/domain/building_reports.h"
#include "sim/service/domain/optimiser.h"

namespace ravd::sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

access_point_view access_point(int number, int channel, std::vector<int> available = {1, 6, 11}) {
    radio_view radio;
    radio.active = true;
    radio.locked_for_dca = radio.locked_for_tpc = false;
    radio.band = band_of(channel);
    radio.channel = channel;
    radio.bandwidth = 20;
    radio.primary = "none";
    radio.power = radio.power_max = 20;
    radio.power_min = 8;
    radio.available = std::move(available);
    access_point_view ap;
    ap.ap_mac = "00:1A:2B:00:0" + std::to_string(number) + ":00";
    ap.radios = {radio};
    ap.reported = true;
    return ap;
}

void hears(access_point_view& ap, const std::string& bssid, int rssi, int channel = 1, int round = 0) {
    ap.heard.push_back({bssid, rssi, channel, 0, "none", 20, round});
}

TEST(DomainModel, KnowsItsOwnRadiosByVapAndByAddressBlock) {
    std::vector<access_point_view> aps = {access_point(1, 1), access_point(2, 6), access_point(3, 11)};
    aps[1].radios[0].power = 14;
    aps[1].radios[0].vaps = {{0, "office", "02:99:00:00:00:01", true, false}};
    hears(aps[0], "02:99:00:00:00:01", -60, 6, 0);  // the second one's VAP: -60 and -64, the loudest of each round
    hears(aps[0], "00:1a:2b:00:02:03", -70, 6, 0);  // its address block
    hears(aps[0], "02:99:00:00:00:01", -64, 6, 1);
    hears(aps[0], "00:1a:2b:00:02:10", -50, 6);  // behind its block: a stranger
    hears(aps[0], "no address", -50, 6);
    hears(aps[0], "00:1a:2b:00:01:01", -20, 1);  // itself
    aps[2].reported = false;
    const plan_model model = build_model(aps, {});
    ASSERT_THAT(model.radios, SizeIs(3));
    ASSERT_THAT(model.radios[0].hears, SizeIs(1));
    EXPECT_EQ(model.radios[0].hears[0].radio, 1u);
    EXPECT_DOUBLE_EQ(model.radios[0].hears[0].dbm, -62);
    EXPECT_THAT(model.radios[0].foreign, SizeIs(1));
    // The way back from the difference in power.
    ASSERT_THAT(model.radios[1].hears, SizeIs(1));
    EXPECT_DOUBLE_EQ(model.radios[1].hears[0].dbm, -56);
    EXPECT_THAT(model.silent, ElementsAre(aps[2].ap_mac));
    EXPECT_THAT(model.radios[2].choices, SizeIs(1));
}

TEST(DomainModel, SettlesThePowerByClientsAndCoverage) {
    const struct {
        const char* what;
        int heard;  // by the other access point, dBm
        int client;
        bool locked;
        int power;
    } cases[] = {{"nobody else is near", -90, 0, false, 14},
                 {"as low as it goes", -40, 0, false, 8},
                 {"coverage", -65, 0, false, 9},
                 {"a weak client", -40, -68, false, 12},
                 {"a client that needs more", -40, -73, false, 17},
                 {"more than there is", -40, -90, false, 20},
                 {"locked", -40, 0, true, 14}};
    for (const auto& c : cases) {
        std::vector<access_point_view> aps = {access_point(1, 1), access_point(2, 1)};
        aps[0].radios[0].power = 14;
        aps[0].radios[0].locked_for_tpc = c.locked;
        if (c.client != 0) aps[0].radios[0].stations = {{"02:00:00:00:00:01", "", c.client}};
        hears(aps[1], "00:1a:2b:00:01:01", c.heard);
        EXPECT_EQ(build_model(aps, {}).radios[0].power, c.power) << c.what;
    }
}

TEST(DomainModel, TakesNothingFromNonsense) {
    access_point_view ap = access_point(1, 1, {-1, 0, 65535, 40, 6});
    std::vector<access_point_view> aps(4, ap);
    aps[0].radios[0].channel = 2147483647;
    aps[1].radios[0].power = -2147483647;
    aps[2].radios[0].band = 5;
    hears(aps[3], "02:00:00:00:00:01", 2147483647, 2147483647);
    hears(aps[3], "02:00:00:00:00:02", -2147483647, 6);
    const plan_model model = build_model(aps, {});
    ASSERT_THAT(model.radios, SizeIs(1));
    EXPECT_THAT(model.radios[0].choices, SizeIs(2));
    EXPECT_TRUE(model.radios[0].must_move);
    EXPECT_EQ(find_plan(interference(model), {})[0].block, 1u);
}

// The total, counted from the definition, without any table.
double counted(const plan_model& model, const assignment& plan) {
    double sum = 0;
    const auto block = [](const radio_setup& s) { return block_of({s.channel, s.bandwidth, s.primary}); };
    const auto part = [&](const channel_block& a, const channel_block& b) {
        return a.low < 2500 ? (shared_mhz(a, b) > 0 ? 1.0 : 0.0) : std::max(covered_part(a, b), covered_part(b, a));
    };
    const auto loud = [](double dbm) { return std::min(1.0, std::max(0.0, (dbm + 95) / 60)); };
    for (std::size_t i = 0; i < plan.size(); ++i) {
        const domain_radio& me = model.radios[i];
        const channel_block here = block(me.choices[plan[i].block].block);
        sum += me.choices[plan[i].block].price;
        for (const foreign_signal& f : me.foreign)
            sum += loud(f.dbm) * part(here, block_of({f.channel, f.bandwidth, f.primary}));
        for (const own_signal& s : me.hears) {
            const domain_radio& other = model.radios[s.radio];
            sum += loud(s.dbm + plan[s.radio].power - other.now.power) *
                   part(here, block(other.choices[plan[s.radio].block].block));
        }
    }
    return sum;
}

TEST(DomainPlan, KeepsItsLimitsInAnyBuilding) {
    for (std::uint32_t seed = 1; seed <= 3; ++seed) {
        std::vector<access_point_view> aps = building_reports(make_building(building_kind::building, 6, seed));
        aps[seed % 6].radios[0].locked_for_dca = true;
        aps[seed % 6].radios[1].locked_for_tpc = true;
        const plan_model model = build_model(aps, {});
        const interference costs(model);
        const assignment now = costs.present();
        const assignment forced = forced_changes(costs);
        EXPECT_NEAR(costs.cost(now).total(), counted(model, now), 1e-6);
        double before = counted(model, forced);
        for (const std::size_t most : {std::size_t{1}, std::size_t{4}, std::size_t{0}}) {
            const search_limits limits = {most, 0.2, seed, 0.05};
            const assignment plan = find_plan(costs, limits);
            EXPECT_EQ(plan, find_plan(costs, limits)) << "not the same twice";
            EXPECT_LE(counted(model, plan), before + 1e-6) << "more freedom, higher cost";
            before = counted(model, plan);
            const std::vector<double> brings = gains(costs, plan);
            std::size_t changed = 0;
            for (std::size_t i = 0; i < plan.size(); ++i) {
                changed += plan[i] != now[i] ? 1 : 0;
                EXPECT_TRUE(plan[i] == forced[i] || forced[i] != now[i] || brings[i] >= 0.2 - 1e-6);
                EXPECT_GE(plan[i].power, model.radios[i].power);
                EXPECT_TRUE(model.radios[i].held.empty() || plan[i].block == 0);
            }
            EXPECT_TRUE(most == 0 || changed <= most);
        }
    }
}

}  // namespace
}  // namespace ravd::sim

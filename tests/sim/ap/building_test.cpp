// Buildings and their air: repeatable, symmetric, and such that a plan has something to do.
#include "sim/common/building.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "sim/ap/channel_plan.h"
#include "sim/ap/generate.h"
#include "sim/ap/roaming.h"
#include "sim/ap/scenario.h"

namespace ravd::sim {
namespace {

TEST(ChannelBlock, CoversWhatTheWidthSays) {
    const struct {
        channel_use use;
        int low, high;  // MHz
    } rows[] = {
        {{6, 20, "none"}, 2427, 2447},  {{6, 40, "lower"}, 2427, 2467},  {{6, 40, "upper"}, 2407, 2447},
        {{11, 40, "none"}, 2432, 2472}, {{40, 40, "upper"}, 5170, 5210}, {{48, 80, "none"}, 5170, 5250},
        {{64, 80, "none"}, 5250, 5330}, {{161, 40, "none"}, 5775, 5815}, {{165, 20, "none"}, 5815, 5835},
    };
    for (const auto& row : rows) {
        const channel_block block = block_of(row.use);
        EXPECT_EQ(block.low, row.low) << row.use.channel << "/" << row.use.bandwidth;
        EXPECT_EQ(block.high, row.high) << row.use.channel << "/" << row.use.bandwidth;
    }
    EXPECT_DOUBLE_EQ(covered_part(block_of({36, 80, "none"}), block_of({44, 20, "none"})), 0.25);
    EXPECT_DOUBLE_EQ(covered_part(block_of({1, 20, "none"}), block_of({3, 20, "none"})), 0.5);
    EXPECT_EQ(shared_mhz(block_of({1, 20, "none"}), block_of({5, 20, "none"})), 0);
}

TEST(Propagation, IsSymmetricAndFallsWithWhatStandsBetween) {
    const surroundings air{building_kind::building, 3};
    double near = 0;
    double far = 0;
    double below = 0;
    double upper_band = 0;
    constexpr int pairs = 200;
    std::set<int> shadowed;
    for (std::uint64_t pair = 0; pair < pairs; ++pair) {
        const antenna here{2 * pair, {1, 1, 0}};
        const auto loss = [&](int band, const place& where) {
            const antenna there{2 * pair + 1, where};
            EXPECT_EQ(path_loss_db(air, band, here, there), path_loss_db(air, band, there, here));
            return path_loss_db(air, band, here, there);
        };
        shadowed.insert(loss(2, {9, 1, 0}));
        near += loss(2, {9, 1, 0});
        far += loss(2, {17, 1, 0});
        below += loss(2, {9, 1, 1});
        upper_band += loss(5, {9, 1, 0});
    }
    // On the average over the shadowing: distance and two walls, a floor, the band.
    EXPECT_NEAR(near / pairs, 40.1 + 23 * 0.903 + 4, 1.5);
    EXPECT_NEAR((far - near) / pairs, 23 * 0.301 + 8, 2);
    EXPECT_NEAR((below - near) / pairs, 15.7, 2);
    EXPECT_NEAR((upper_band - near) / pairs, 6.7 + 2, 2);
    EXPECT_GT(*shadowed.rbegin() - *shadowed.begin(), 10);
}

TEST(Building, IsTheSameForASeedAndWorthPlanning) {
    for (const building_kind kind : {building_kind::building, building_kind::office, building_kind::street}) {
        const building one = make_building(kind, 30, 7);
        const building again = make_building(kind, 30, 7);
        const building other = make_building(kind, 30, 8);
        ASSERT_EQ(one.access_points.size(), 30u);
        EXPECT_TRUE(one.access_points[29].where == again.access_points[29].where);
        EXPECT_FALSE(one.access_points[29].where == other.access_points[29].where);
        std::set<mac_octets> addresses;
        int edges = 0;
        for (const building_access_point& ap : one.access_points) {
            EXPECT_TRUE(addresses.insert(ap.base).second);
            for (const building_radio& radio : ap.radios) {
                EXPECT_TRUE(make_chanspec(radio.use)) << radio.use.channel << "/" << radio.use.bandwidth;
                EXPECT_EQ(std::count(radio.channels.begin(), radio.channels.end(), radio.use.channel), 1);
            }
            for (const building_access_point& peer : one.access_points)
                edges += &peer != &ap && heard_dbm(one.air, 2, 20, antenna_of(peer), antenna_of(ap)) > -82;
        }
        // Neither alone nor all in one room.
        EXPECT_GT(edges / 30, 2) << building_kind_word(kind);
        EXPECT_LT(edges / 30, 24) << building_kind_word(kind);
        for (const building_station& station : one.stations) {
            EXPECT_TRUE(addresses.insert(station.mac).second);
            const antenna home = antenna_of(one.access_points[static_cast<std::size_t>(station.home)]);
            EXPECT_GT(heard_dbm(one.air, 2, 20, home, antenna_of(station)), -80);
        }
        for (const building_network& network : one.strangers)
            EXPECT_TRUE(addresses.insert(network.bssid).second && make_chanspec(network.use)) << network.use.channel;
    }
    // Held from machine to machine.
    const building known = make_building(building_kind::building, 30, 7);
    EXPECT_EQ(known.access_points[29].radios[1].use.channel, 36);
    EXPECT_EQ(path_loss_db(known.air, 5, antenna_of(known.access_points[3]), antenna_of(known.access_points[5])), 102);
    EXPECT_EQ(known.stations.size(), 124u);
}

TEST(Building, ItsScenariosHearWhatItSays) {
    const building one = make_building(building_kind::street, 12, 5);
    std::size_t stations = 0;
    for (std::size_t n = 0; n < one.access_points.size(); ++n) {
        scenario read;
        std::string fault;
        ASSERT_TRUE(parse_scenario(scenario_text(one, n), read, fault)) << fault;
        stations += read.radios[1].vaps[0].stations.size();
        for (const building_network& network : one.strangers) {
            const int rssi = heard_dbm(one.air, band_of(network.use.channel), network.power, antenna_of(network),
                                       antenna_of(one.access_points[n]));
            const auto heard =
                std::find_if(read.neighbours.begin(), read.neighbours.end(),
                             [&](const scenario_neighbour& known) { return known.bssid == network.bssid; });
            ASSERT_EQ(heard != read.neighbours.end(), rssi >= hearing_limit_dbm);
            if (heard != read.neighbours.end()) {
                EXPECT_EQ(heard->rssi, rssi);
            }
        }
    }
    EXPECT_EQ(stations, one.stations.size());
}

TEST(Roaming, StaysUntilAnotherIsBetterAndGoesWhereItIsSent) {
    const mac_octets low{1};
    const mac_octets high{2};
    const mac_octets other{3};
    const auto heard = [&](int low_rssi, int high_rssi, int other_rssi) {
        return std::vector<audible_bss>{{low, 2, low_rssi}, {high, 5, high_rssi}, {other, 2, other_rssi}};
    };
    EXPECT_EQ(next_place({}, low, false), no_address);
    EXPECT_EQ(next_place(heard(-60, -65, -61), no_address, false), high) << "the upper band, where it is loud";
    EXPECT_EQ(next_place(heard(-70, -75, -71), no_address, false), low) << "and where it is not";
    EXPECT_EQ(next_place(heard(-60, -80, -53), low, false), low);
    EXPECT_EQ(next_place(heard(-60, -80, -52), low, false), other);
    EXPECT_EQ(next_place(heard(-75, -85, -40), low, true), low) << "it was sent there";
    EXPECT_EQ(next_place(heard(-83, -85, -40), low, true), other) << "but hears too little";
    EXPECT_EQ(asked_place(heard(-60, -70, -50), low, {high}), high);
    EXPECT_EQ(asked_place(heard(-60, -85, -50), low, {high}), other);
    EXPECT_EQ(asked_place(heard(-60, -85, -83), low, {high}), no_address);
}

}  // namespace
}  // namespace ravd::sim

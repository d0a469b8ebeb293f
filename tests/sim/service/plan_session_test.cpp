// A plan from proposal to undo, on a clock of numbers and with access points that take their time, fail and come back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <utility>

#include "sim/common/dice.h"
#include "sim/service/domain/building_reports.h"
#include "sim/service/domain/neighbours.h"
#include "sim/service/domain/session.h"
#include "sim/service/plan_desk.h"

namespace ravd::sim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A building whose access points are off the air for a while when their settings change.
class rehearsal : public domain_world {
  public:
    struct device {
        double busy_until = 0;
        unsigned link = 0;     // 0: gone
        bool deaf = false;     // takes orders and does nothing
        double slow = 0;       // so much longer off the air by the next order
        configuration target;  // what it is busy with
        unsigned lists = 0;
    };
    rehearsal(const building& start, std::uint32_t seed)
        : made(start),
          session(
              *this, [](const std::string&) {}, [] {}),
          dice_(seed) {
        for (const building_access_point& ap : made.access_points)
            devices[mac_text(ap.base)].link = ++links_;
        session.options().scan_timeout = 60;
        session.options().search.effort = 0.02;
    }
    std::vector<access_point_view> access_points() const override {
        std::vector<access_point_view> list;
        for (access_point_view& ap : building_reports(made)) {
            const device& d = devices.at(ap.ap_mac);
            ap.link = d.link;
            if (d.link != 0) list.push_back(ap);
        }
        return list;
    }
    const std::vector<radio_view>* radios_of(const std::string& ap_mac) const override {
        const device& d = devices.at(ap_mac);
        for (access_point_view& ap : building_reports(made))
            if (ap.ap_mac == ap_mac) shown_ = ap.radios;
        for (radio_view& radio : shown_)
            radio.active = !busy(d);
        return d.link != 0 ? &shown_ : nullptr;
    }
    unsigned link_of(const std::string& ap_mac) const override { return devices.at(ap_mac).link; }
    bool configure(const std::string& ap_mac, configuration settings) override {
        device& d = devices.at(ap_mac);
        if (d.link == 0) return false;
        if (settings.neighbours) ++d.lists;
        if (settings.radios.empty() || d.deaf) return true;
        EXPECT_FALSE(busy(d) && d.busy_until < now + 10) << "two orders at once";
        d.busy_until = now + dice_.roll(1, 9) + std::exchange(d.slow, 0);
        d.target = std::move(settings);
        for (const auto& [mac, other] : devices)
            EXPECT_FALSE(mac != ap_mac && busy(other) && within_earshot(mac, ap_mac)) << mac << ' ' << ap_mac;
        return true;
    }
    bool ask(const std::string& ap_mac) override { return devices.at(ap_mac).link != 0; }
    bool scan(const std::string& ap_mac, const std::string&) override {
        scanning_[ap_mac] = now + dice_.roll(10, 30);
        return true;
    }
    bool overload(const std::string&, int, int, json_ptr) override { return true; }

    // Until the plan rests; `each_second` may meddle.
    void run(const std::function<void()>& each_second = [] {}) {
        for (int seconds = 0; seconds < 5000 && !session.at_rest(); ++seconds) {
            ++now;
            each_second();
            for (auto& [mac, d] : devices) {
                if (d.busy_until == now) apply(mac, d);
                if (d.link != 0) session.described(mac, now);
                if (scanning_.count(mac) != 0 && scanning_[mac] == now && d.link != 0) session.reported(mac, now);
            }
            session.turn(now);
        }
        EXPECT_TRUE(session.at_rest());
    }
    std::vector<radio_setup> setups() const {
        std::vector<radio_setup> all;
        for (const building_access_point& ap : made.access_points)
            for (const building_radio& radio : ap.radios)
                all.push_back({radio.use.channel, radio.use.bandwidth, radio.use.sideband, radio.power});
        return all;
    }
    bool busy(const device& d) const { return d.busy_until > now; }
    // The link is lost, and with it what was ordered over it.
    void lose(const std::string& mac, const building& original) {
        devices[mac].link = 0;
        devices[mac].busy_until = 0;
        for (std::size_t i = 0; i < made.access_points.size(); ++i)
            if (mac_text(made.access_points[i].base) == mac)
                made.access_points[i].radios = original.access_points[i].radios;
    }
    void regain(const std::string& mac) { devices[mac].link = ++links_; }

    building made;
    double now = 0;
    std::map<std::string, device> devices;
    plan_session session;

  private:
    void apply(const std::string& mac, device& d) {
        for (building_access_point& ap : made.access_points) {
            if (mac_text(ap.base) != mac) continue;
            for (const radio_setting& set : d.target.radios) {
                building_radio& radio = ap.radios[static_cast<std::size_t>(set.id)];
                if (set.channel > 0)
                    radio.use = {set.channel, set.bandwidth, set.primary.empty() ? "none" : set.primary};
                if (set.power > 0) radio.power = set.power;
            }
        }
    }
    bool within_earshot(const std::string& a, const std::string& b) const {
        const building_access_point *one = nullptr, *two = nullptr;
        for (const building_access_point& ap : made.access_points) {
            if (mac_text(ap.base) == a) one = &ap;
            if (mac_text(ap.base) == b) two = &ap;
        }
        for (std::size_t r = 0; r < 2; ++r)
            for (const building_access_point* from : {one, two})
                if (heard_dbm(made.air, r == 0 ? 2 : 5, from->radios[r].power, antenna_of(*one), antenna_of(*two)) >=
                    hearing_limit_dbm)
                    return true;
        return false;
    }

    dice dice_;
    unsigned links_ = 0;
    std::map<std::string, double> scanning_;
    mutable std::vector<radio_view> shown_;
};

using state = plan_session::state;

TEST(PlanSession, AppliesVerifiesAndTakesBackWithoutTwoNeighboursOffTheAir) {
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
        const building start = make_building(seed % 2 ? building_kind::street : building_kind::building, 8, seed);
        rehearsal world(start, seed);
        const std::vector<radio_setup> before = world.setups();
        std::string error;
        ASSERT_TRUE(world.session.propose(error)) << error;
        ASSERT_TRUE(world.session.apply(0, error)) << error;
        EXPECT_FALSE(world.session.propose(error) || world.session.apply(0, error));
        world.run();
        ASSERT_EQ(world.session.now(), state::applied) << world.session.text();
        EXPECT_THAT(world.session.text(), HasSubstr(": verified"));
        EXPECT_NEAR(world.session.measured()->total(), world.session.last()->after.total(), 1e-6);
        for (const auto& [mac, device] : world.devices)
            EXPECT_GE(device.lists, 1u);
        error.clear();
        ASSERT_TRUE(world.session.undo(world.now, error)) << error;
        world.run();
        EXPECT_EQ(world.session.now(), state::undone) << world.session.text();
        EXPECT_EQ(world.setups(), before);
        EXPECT_FALSE(world.session.undo(world.now, error));
    }
}

TEST(PlanSession, TakesBackWhatFailsAndWhatBecameWorse) {
    const building start = make_building(building_kind::building, 6, 3);
    std::string error;
    {  // one access point that does nothing
        rehearsal world(start, 1);
        const std::vector<radio_setup> before = world.setups();
        ASSERT_TRUE(world.session.propose(error));
        world.devices[world.session.last()->stages.at(1).at(0)].deaf = true;
        ASSERT_TRUE(world.session.apply(0, error)) << error;
        world.run();
        EXPECT_EQ(world.session.now(), state::undone) << world.session.text();
        EXPECT_THAT(world.session.text(), HasSubstr("shows"));
        EXPECT_EQ(world.setups(), before);
    }
    {  // one that is off the air for longer than its stage lasts: no neighbour goes before it is back
        rehearsal world(start, 1);
        const std::vector<radio_setup> before = world.setups();
        ASSERT_TRUE(world.session.propose(error));
        world.devices[world.session.last()->stages.at(1).at(0)].slow = 200;
        ASSERT_TRUE(world.session.apply(0, error)) << error;
        world.run();
        EXPECT_EQ(world.session.now(), state::undone) << world.session.text();
        EXPECT_EQ(world.setups(), before);
    }
    {  // strangers on every channel as soon as the plan is applied
        rehearsal world(start, 1);
        const std::vector<radio_setup> before = world.setups();
        ASSERT_TRUE(world.session.propose(error) && world.session.apply(0, error));
        world.run([&] {
            if (world.session.now() != state::checking || world.made.strangers.size() > 200) return;
            const std::vector<building_network> few = world.made.strangers;
            for (std::uint8_t i = 0; i < 100; ++i) {
                building_network more = few[i % few.size()];
                more.bssid[5] = static_cast<std::uint8_t>(100 + i);
                more.where = start.access_points[i % 6u].where;
                more.use.channel = i % 2 ? 1 + i % 13 : 36 + 4 * (i % 8);
                world.made.strangers.push_back(more);
            }
        });
        EXPECT_EQ(world.session.now(), state::undone);
        EXPECT_THAT(world.session.text(), HasSubstr("it became worse"));
        EXPECT_EQ(world.setups(), before);
    }
    {  // a change of mind in the second stage
        rehearsal world(start, 1);
        const std::vector<radio_setup> before = world.setups();
        ASSERT_TRUE(world.session.propose(error) && world.session.apply(0, error));
        world.run([&] {
            const bool second = world.session.text().find("applying, stage 2") == 0;
            EXPECT_TRUE(!second || world.session.undo(world.now, error));
        });
        EXPECT_EQ(world.session.now(), state::undone);
        EXPECT_EQ(world.setups(), before);
    }
    {  // somebody else set a radio after the proposal
        rehearsal world(start, 1);
        ASSERT_TRUE(world.session.propose(error));
        world.made.access_points[0].radios[0].use.channel = 13;
        world.made.access_points[0].radios[1].use = {64, 20, "none"};
        EXPECT_FALSE(world.session.apply(0, error));
        EXPECT_THAT(error, HasSubstr("out of date"));
    }
}

TEST(PlanSession, OrdersAnewWhatALostLinkTookAlong) {
    const building start = make_building(building_kind::building, 6, 3);
    rehearsal world(start, 1);
    std::string error;
    ASSERT_TRUE(world.session.propose(error));
    const std::string victim = world.session.last()->stages.at(0).at(0);
    ASSERT_TRUE(world.session.apply(0, error));
    world.lose(victim, start);
    world.run([&] {
        if (world.now == 20) world.regain(victim);
    });
    EXPECT_EQ(world.session.now(), state::applied);
    EXPECT_THAT(world.session.text(), HasSubstr(": verified"));
}

TEST(Neighbours, AreThoseWhoHearEachOtherAndLessBusyOnesTakeOver) {
    std::vector<access_point_view> aps = building_reports(make_building(building_kind::building, 4, 2));
    for (access_point_view& ap : aps) {
        ap.heard.clear();
        for (radio_view& radio : ap.radios)
            radio.stations.assign(&ap == &aps[0] ? 12 : 2, {"02:00:00:00:00:01", "", -50});
    }
    const auto vap = [&](std::size_t ap) { return aps[ap].radios[0].vaps[0].mac; };
    aps[0].heard = {{vap(1), -70, 6, 0, "none", 20, 0}, {vap(2), -50, 6, 0, "none", 20, 0}};
    aps[3].heard = {{vap(0), -88, 6, 0, "none", 20, 0}};
    const plan_model model = build_model(aps, {});
    const interference costs(model);
    const json_ptr list = neighbour_lists(costs, costs.present(), aps[0].ap_mac);
    ASSERT_EQ(json_length(list.get()), 2u);
    EXPECT_EQ(json_text(json_element(list.get(), 0), "neighbour-mac"), aps[2].ap_mac);
    EXPECT_EQ(json_number(json_element(list.get(), 0), "channel"), aps[2].radios[0].channel);
    EXPECT_EQ(json_text(json_element(json_member(json_element(list.get(), 1), "vaps"), 0), "mac"), vap(1));
    const std::vector<overloaded_radio> list_of_overloaded = overloaded_radios(costs);
    ASSERT_THAT(list_of_overloaded, SizeIs(1));  // of both radios the one whose clients have somewhere to go
    EXPECT_EQ(list_of_overloaded[0].radio, 0u);
    EXPECT_EQ(list_of_overloaded[0].leave, 6);
    EXPECT_EQ(json_length(relief_list(costs, list_of_overloaded[0]).get()), 2u);
}

TEST(PlanDesk, SaysWhatItDoesNotTake) {
    std::map<unsigned, agent> agents;
    plan_desk desk(
        agents, [](agent&, const json_ptr&) { return true; }, [](const std::string&) {}, [] {});
    const struct {
        std::vector<argument> args;
        const char* reply;
    } cases[] = {{{}, "no agent is subscribed"},
                 {{{"", "apply"}}, "nothing is proposed"},
                 {{{"", "undo"}}, "nothing is applied"},
                 {{{"", "applly"}}, "no step"},
                 {{{"width", "30"}}, "any, keep, 20, 40 or 80"},
                 {{{"min-gain", "1e3"}}, "from 0 to 1000"},
                 {{{"min-gian", "1"}}, "min-gain"}};
    for (const auto& c : cases) {
        std::string reply;
        EXPECT_FALSE(desk.run(c.args, 0, reply));
        EXPECT_THAT(reply, HasSubstr(c.reply));
    }
    agent& who = agents[1];
    who.subscribed = true;
    who.orders.ap_mac = "00:1A:2B:3C:4D:50";
    std::string reply;
    EXPECT_FALSE(desk.run({{"width", "40"}, {"max-changes", "3"}}, 0, reply));
    EXPECT_THAT(reply, HasSubstr("plan scan"));
    EXPECT_TRUE(desk.run({{"", "status"}}, 0, reply));
    EXPECT_THAT(reply, HasSubstr("max-changes=3 width=40"));
    who.autopilot = std::make_unique<pilot>(
        auto_options(), who.orders, [](const json_ptr&) { return true; }, [](const std::string&) {},
        [](const json_ptr&) {});
    EXPECT_FALSE(desk.run({{"", "scan"}}, 0, reply));
    EXPECT_THAT(reply, HasSubstr("one planner at a time"));
}

}  // namespace
}  // namespace ravd::sim

// The pieces of the simulated access point that decide what the daemon hears.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "platform/sim/radio_protocol.h"
#include "sim/ap/air.h"
#include "sim/ap/air_directory.h"
#include "sim/ap/command_record.h"
#include "sim/ap/faults.h"
#include "sim/ap/neighbour_text.h"
#include "sim/common/text.h"
#include "tests/support/fake_system.h"

namespace ravd::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

scenario office() {
    scenario s;
    std::string fault;
    EXPECT_TRUE(load_scenario(std::string(RAVD_SCENARIOS) + "/small-office.json", s, fault)) << fault;
    return s;
}

TEST(ChannelPlan, EncodesWhatExists) {
    const struct {
        channel_use use;
        std::uint32_t chanspec;  // 0: there is none
    } rows[] = {
        {{6, 20, "none"}, 0x1006}, {{36, 40, "none"}, 0x1826},  {{40, 40, "upper"}, 0x1926},
        {{40, 40, "lower"}, 0},    {{36, 80, "lower"}, 0x202A}, {{48, 80, "none"}, 0x232A},
        {{1, 40, "none"}, 0x1803}, {{1, 40, "upper"}, 0},       {{11, 40, "none"}, 0x1909},
        {{13, 40, "lower"}, 0},    {{6, 80, "none"}, 0},        {{165, 20, "none"}, 0x10A5},
        {{165, 40, "none"}, 0},    {{144, 80, "none"}, 0x238A}, {{15, 20, "none"}, 0},
        {{36, 60, "none"}, 0},
    };
    for (const auto& row : rows) {
        const std::uint32_t chanspec = make_chanspec(row.use).value_or(0);
        EXPECT_EQ(chanspec, row.chanspec) << row.use.channel << "/" << row.use.bandwidth;
        if (chanspec == 0) continue;
        EXPECT_EQ(control_channel(chanspec), row.use.channel);
        EXPECT_EQ(bandwidth_of(chanspec), row.use.bandwidth);
    }
}

TEST(Air, ScansTakeTheirTimeAndHearTheirChannels) {
    access_point ap(office());
    radio_state& radio = ap.radios[0];
    EXPECT_TRUE(scan_results(ap, radio, 0).empty());
    EXPECT_EQ(active_scan_ms(ap, radio, 0), 9000);
    EXPECT_EQ(active_scan_ms(ap, ap.radios[1], 0), 14000);
    EXPECT_EQ(active_scan_ms(ap, radio, 13), 9000);
    EXPECT_EQ(active_scan_ms(ap, radio, 1), 0);

    start_active_scan(ap, radio, {}, 1000);
    EXPECT_EQ(scan_results(ap, radio, 6000).size(), 3u);  // channels 1 to 7 visited
    EXPECT_TRUE(scan_running(radio, 9999));
    EXPECT_FALSE(scan_running(radio, 10000));
    // The daemon stops a scan before it reads the results.
    stop_scan(radio, 11000);
    EXPECT_EQ(scan_results(ap, radio, 12000).size(), 4u);

    start_active_scan(ap, radio, {}, 20000);
    stop_scan(radio, 20500);
    EXPECT_TRUE(scan_results(ap, radio, 99000).empty());

    // Another round hears other strengths, the same question the same ones.
    start_active_scan(ap, radio, {6}, 30000);
    const int first = scan_results(ap, radio, 30000)[0].rssi;
    EXPECT_EQ(scan_results(ap, radio, 40000)[0].rssi, first);
    bool varies = false;
    for (int round = 0; round < 10; ++round) {
        start_active_scan(ap, radio, {6}, 50000);
        varies |= scan_results(ap, radio, 50000)[0].rssi != first;
    }
    EXPECT_TRUE(varies);
}

TEST(CommandRecord, Bounds) {
    // What fits, whatever is asked for.
    std::string request;
    append_u32(request, 2);
    append_u32(request, 9360);
    EXPECT_EQ(encode_scan_results(request, std::vector<heard_bss>(9000)).size(), 8u + 4680 * 28);

    // Counts beyond the bytes, and zeros left out at the end.
    EXPECT_THAT(scan_channels(std::string("\0\0\0\0\xFF\xFF\xFF\xFF\x06\0\x0B", 11)), ElementsAre(6, 11));
    EXPECT_TRUE(scan_channels("").empty());
    EXPECT_EQ(command_number(std::string("\5")), 5u);
}

TEST(NeighbourText, ReadsJoinedOrders) {
    const auto classic = read_neighbour_orders(
        "delalladd 06aa00000001 0x0867 255 6 7 ssid \"a \" bssload\" bssload 0 0add 06aa00000002 0x1867 255 36 9 "
        "ssid \"\" bssload 0 0delall",
        chip_kind::rtl8192cd);
    ASSERT_EQ(classic.size(), 4u);
    EXPECT_EQ(classic[0].what, neighbour_order::clear);
    EXPECT_EQ(classic[1].entry.ssid, "a \" bssload");
    EXPECT_EQ(classic[1].entry.channel, 6);
    EXPECT_EQ(mac_text(classic[2].entry.bssid), "06:aa:00:00:00:02");
    EXPECT_EQ(classic[3].what, neighbour_order::clear);
    const auto wifi6 = read_neighbour_orders(
        "add 06:aa:00:00:00:01 1728577536 0 6 0 3add 06:aa:00:00:00:02 1728577536 0 36 0 9", chip_kind::rtk_wifi6);
    ASSERT_EQ(wifi6.size(), 2u);
    EXPECT_EQ(wifi6[1].entry.channel, 36);
    for (const char* wrong : {"add", "add x", "add 06aa00000001 0x0867 255 6 7 ssid \"a", "del"}) {
        const auto orders = read_neighbour_orders(wrong, chip_kind::rtl8192cd);
        ASSERT_EQ(orders.size(), 1u) << wrong;
        EXPECT_EQ(orders[0].what, neighbour_order::unknown) << wrong;
    }
}

TEST(Faults, RefusedWithAReason) {
    const std::pair<const char*, const char*> rows[] = {
        {"stations", "expected:"},
        {"station hang", "unknown target"},
        {"stations:x hang", "unknown target"},
        {"0xq hang", "unknown target"},
        {"stations dead", "is no fault of"},
        {"iwpriv silent", "is no fault of"},
        {"config count 3", "is no fault of"},
        {"stations fail EWHAT", "needs a value"},
        {"stations fail", "needs a value"},
        {"any hang times 0", "cannot read"},
        {"config hang on wlan0", "cannot read"},
        {"any hang on", "cannot read"},
    };
    for (const auto& [line, expected] : rows) {
        std::vector<std::string> words;
        std::string reason;
        fault one;
        EXPECT_TRUE(split_words(line, words));
        EXPECT_FALSE(parse_fault(words, one, reason)) << line;
        EXPECT_THAT(reason, HasSubstr(expected)) << line;
    }
}

TEST(AirDirectory, IsLookedAtWhereNotificationsAreNotToBeHad) {
    char directory[] = "/tmp/ravd-air-XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    ravd::testing::fake_system& clock = ravd::testing::fake_system::get();
    clock.reset();
    event_loop loop;
    const event_log log(true);
    std::vector<std::string> heard;
    presence who;
    who.base = {2, 0, 0, 0, 0, 2};
    who.name = "one";
    air_directory other(loop, log, [] {});
    air_directory listener(loop, log, [&] {
        for (const presence& one : listener.others())
            heard.push_back(one.name);
        who.name = "two";
        other.publish(who);
    });
    const int next = dup(0);
    close(next);
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit one_more = {static_cast<rlim_t>(next + 1), before.rlim_max};  // for its lock
    setrlimit(RLIMIT_NOFILE, &one_more);
    std::string reason;
    const bool opened = listener.open(directory, {2, 0, 0, 0, 0, 1}, reason);
    setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_TRUE(opened && other.open(directory, who.base, reason)) << reason;
    other.publish(who);
    int turns = 0;
    const std::function<void()> turn = [&] {
        clock.advance_ms(100);
        if (heard.size() > 1 || ++turns > 100) return loop.stop();
        loop.soon(turn);
    };
    turn();
    loop.run();
    EXPECT_THAT(heard, ElementsAre("one", "two"));
    for (const char* file : {"/020000000001.lock", "/020000000002.lock", "/020000000002.json", ""})
        remove((directory + std::string(file)).c_str());
}

}  // namespace
}  // namespace ravd::sim

// The pieces of the simulated access point that decide what the daemon hears.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sim/radio_protocol.h"
#include "sim/ap/air.h"
#include "sim/ap/command_record.h"
#include "sim/ap/faults.h"
#include "sim/ap/mibs.h"
#include "sim/ap/neighbour_text.h"
#include "sim/ap/stations.h"
#include "sim/ap/words.h"

namespace ravd::sim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

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
    for (const auto& row : rows)
        EXPECT_EQ(make_chanspec(row.use).value_or(0), row.chanspec) << row.use.channel << "/" << row.use.bandwidth;
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
    EXPECT_TRUE(scan_running(radio, 9999));
    EXPECT_TRUE(scan_results(ap, radio, 1000).empty());
    EXPECT_EQ(scan_results(ap, radio, 6000).size(), 3u);  // channels 1 to 7 visited
    EXPECT_EQ(scan_results(ap, radio, 10000).size(), 4u);
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

TEST(CommandRecord, BoundsAndLayout) {
    heard_bss bss;
    bss.bssid = {1, 2, 3, 4, 5, 6};
    bss.rssi = -70;
    bss.channel = 44;
    bss.bandwidth = 80;
    bss.chanspec = 0x222A;
    bss.power = -3;
    std::string request;
    append_u32(request, 2);
    append_u32(request, 9360);
    const std::string reply = encode_scan_results(request, {bss});
    ASSERT_EQ(reply.size(), 8u + 28);
    EXPECT_EQ(load_u32(reply.data() + 4), 1u);
    EXPECT_EQ(reply.substr(8, 6), std::string("\1\2\3\4\5\6"));
    EXPECT_EQ(static_cast<std::int32_t>(load_u32(reply.data() + 16)), -70);
    EXPECT_EQ(load_u16(reply.data() + 32), 0x0200);
    const std::string rrm = encode_rrm_results(request, {bss});
    EXPECT_EQ(static_cast<std::int32_t>(load_u32(rrm.data() + 28)), -12);
    EXPECT_EQ(load_u16(rrm.data() + 32), 0x222A);

    // What fits, whatever is asked for; and what is asked for.
    EXPECT_EQ(encode_scan_results(request, std::vector<heard_bss>(9000)).size(), 8u + 4680 * 28);
    request.replace(4, 1, 1, '\1').replace(5, 1, 1, '\0');
    EXPECT_EQ(encode_scan_results(request, std::vector<heard_bss>(9000)).size(), 8u + 28);

    // Counts beyond the bytes, and zeros left out at the end.
    EXPECT_THAT(scan_channels(std::string("\0\0\0\0\xFF\xFF\xFF\xFF\x06\0\x0B", 11)), ElementsAre(6, 11));
    EXPECT_TRUE(scan_channels("").empty());
    EXPECT_EQ(command_number(std::string("\5")), 5u);
}

TEST(RadioProtocol, RoundTripAndRefusals) {
    radio_request request;
    request.number = 0x8BBF;
    request.ifname = "wlan0-va6";
    request.length = command_record_length;
    request.block = std::string("\4\0\0\0", 4);
    const std::string bytes = encode(request);
    radio_request back;
    ASSERT_TRUE(decode(bytes.data() + 4, bytes.size() - 4, back));
    EXPECT_EQ(back.ifname, request.ifname);
    EXPECT_EQ(back.block, request.block);
    EXPECT_EQ(block_capacity(back.length), command_record_size);
    EXPECT_FALSE(decode(bytes.data() + 4, radio_request_head - 1, back));
    const std::string large(radio_request_head + command_record_size + 1, 'x');
    EXPECT_FALSE(decode(large.data(), large.size(), back));
    radio_reply reply;
    EXPECT_FALSE(decode(large.data(), radio_reply_head - 1, reply));
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

TEST(Faults, GrammarAndCounting) {
    const struct {
        const char* line;
        const char* reason;  // empty: accepted
    } rows[] = {
        {"stations count 99999", ""},
        {"get-mib:chanspec length 2 times 3", ""},
        {"0x8BBF fail EIO on wlan1", ""},
        {"channels silent", ""},
        {"any hang", ""},
        {"iwpriv empty", ""},
        {"config dead", ""},
        {"porterd late 1500 times 1", ""},
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
    for (const auto& row : rows) {
        fault one;
        std::string reason;
        EXPECT_EQ(parse_fault(split_words(row.line), one, reason), *row.reason == '\0') << row.line << ": " << reason;
        EXPECT_THAT(reason, HasSubstr(row.reason)) << row.line;
    }
    fault_list faults;
    fault one;
    std::string reason;
    ASSERT_TRUE(parse_fault(split_words("stations fail EIO on wlan0-va0 times 2"), one, reason));
    faults.add(one);
    EXPECT_FALSE(faults.strike({"any", "stations"}, "wlan0-va1"));
    EXPECT_FALSE(faults.strike({"any", "scan"}, "wlan0-va0"));
    EXPECT_TRUE(faults.strike({"any", "stations"}, "wlan0-va0"));
    EXPECT_THAT(faults.text(), HasSubstr("times 1"));
    EXPECT_TRUE(faults.strike({"any", "stations"}, "wlan0-va0"));
    EXPECT_FALSE(faults.strike({"any", "stations"}, "wlan0-va0"));
}

TEST(Stations, LiveWithTheirVap) {
    access_point ap(office());
    station_book book(ap);
    std::vector<std::string> told;
    book.set_listener([&](const client_event& e) { told.push_back(e.type + " " + e.dev + " " + e.target_mac); });
    ap.hostapd_running = true;
    book.settle(false);
    const mac_octets first{6, 0, 0, 0, 0, 1};
    ASSERT_TRUE(book.find(first).one->associated);
    EXPECT_TRUE(told.empty());

    // Asked to roam: marked until its timeout.
    vap_state& vap = *ap.vap_of("wlan0-va0");
    set_mib(ap.radios[0], "wlan0-va0", "roam_attempt_timeout", "7", 0);
    EXPECT_TRUE(book.ask_to_roam(vap, first, 1000));
    EXPECT_EQ(book.find(first).one->asked_until_ms, 8000);
    EXPECT_FALSE(book.ask_to_roam(*ap.vap_of("wlan1-va0"), first, 1000));
    EXPECT_EQ(mac_text(book.roam_target(vap)), "06:aa:00:00:00:01");

    // To a VAP of ours.
    EXPECT_EQ(book.roam(first, ap.vap_of("wlan1-va0")->bssid), "");
    EXPECT_EQ(book.find(first).vap->name, "wlan1-va0");
    EXPECT_EQ(book.leave(first, "recv-deauth"), "");
    EXPECT_NE(book.leave(first, "recv-deauth"), "");
    EXPECT_THAT(told,
                ElementsAre("80211v-roam wlan0-va0 02:00:5e:11:00:19", "auth wlan1-va0 ", "recv-deauth wlan1-va0 "));

    // A radio that goes down takes its stations with it; who left by itself stays away.
    told.clear();
    ap.radios[1].up = false;
    book.settle(true);
    EXPECT_EQ(told.size(), 3u);
    ap.radios[1].up = true;
    book.settle(true);
    EXPECT_EQ(told.size(), 6u);
    EXPECT_FALSE(book.find(first).one->associated);
    EXPECT_NE(book.join("wlan1-va1", {}), "");  // not enabled
    EXPECT_NE(book.join("wlan0", {}), "");
}

}  // namespace
}  // namespace ravd::sim

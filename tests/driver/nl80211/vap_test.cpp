// Stations, transitions and 802.11k lists of a VAP of mainline Linux.
#include "driver/nl80211/bss_elements.h"
#include "driver/nl80211/hostapd_text.h"
#include "tests/driver/nl80211/mainline_access_point.h"

namespace ravd::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* station = "02:00:00:00:04:00";
constexpr const char* own_entry = "42:00:00:00:00:00 ssid=686f757365 nr=420000000000af0900005306070603010800\n";

neighbour_entry neighbour(std::uint8_t number, std::uint32_t channel, bool custom = false) {
    return {{2, 0, 0, 0, 9, number}, "house", channel, {0, 0}, 255, 1, custom};
}

// hostapd with its neighbour list, one station and this state.
class mainline_vap_test : public mainline_access_point {
  protected:
    mainline_vap_test() {
        list["42:00:00:00:00:00"] = "686f757365";
        hostapd.on_request = [this](const std::string&, const std::string& text) { return answer(text); };
    }
    std::string answer(const std::string& text) {
        system.advance_ms(answer_ms);
        if (text.rfind("STA ", 0) == 0) return "flags=[AUTH]\ncapability=0x1431\next_capab=" + capabilities + "\n";
        if (text == "STATUS") return state;
        if (text.rfind("SET_NEIGHBOR ", 0) == 0) return list[text.substr(13, 17)] = text.substr(36, 10), "OK";
        if (text.rfind("REMOVE_NEIGHBOR ", 0) == 0) return list.erase(text.substr(16, 17)) ? "OK" : "FAIL";
        if (text != "SHOW_NEIGHBOR") return transition;
        std::string shown;  // hostapd shows as many as fit
        for (const auto& [bssid, ssid] : list)
            if (shown.size() < 200) shown += bssid + " ssid=" + ssid + " nr=420000000000af09000053060706030108\n";
        return shown;
    }
    rrm_sta_s only_station() {
        std::vector<rrm_sta_s> stations;
        EXPECT_EQ(vap()->get_assoc_stas(stations), 0);
        return stations.size() == 1 ? stations[0] : rrm_sta_s();
    }

    std::string capabilities = "04004a0201404040000120";
    int answer_ms = 0;
    std::string transition = "OK";
    std::string state;
    std::map<std::string, std::string> list;
};

TEST_F(mainline_vap_test, knows_its_stations) {
    const rrm_sta_s sta = only_station();
    EXPECT_EQ(sta.mac, station);
    EXPECT_THAT((std::array{sta.rssi, sta.roam_attempts, int{sta.no_80211v}}), ElementsAre(-20, 0, 0));
    EXPECT_THAT(sta.readings, ElementsAre(-20, -100, -100, -100));
    only_station();
    EXPECT_THAT(hostapd.requests, ElementsAre(std::string("wlan0-va0 STA ") + station));  // asked once

    // Another association is another station; while hostapd does not tell, it is taken for one that cannot go.
    kernel.connected_s = 1;
    for (const char* unable : {"0400020201404040000120", "", "04", "0400zz", "FAIL"}) {
        capabilities = unable;
        kernel.connected_s = 0;
        back_ends.memory().vap("wlan0-va0").stations.clear();
        EXPECT_TRUE(only_station().no_80211v) << unable;
    }
    hostapd.hangs = true;
    back_ends.memory().vap("wlan0-va0").stations.clear();
    EXPECT_TRUE(only_station().no_80211v);
    hostapd.hangs = false;
    capabilities = "04004a02";
    EXPECT_FALSE(only_station().no_80211v);
    std::vector<rrm_sta_s> stations;
    kernel.failing["get_stations"] = -ENETDOWN;
    EXPECT_EQ(vap()->get_assoc_stas(stations), -1);
    EXPECT_EQ(back_ends.back_end_of(this, "wlan0-va0/../x")->get_assoc_stas(stations), -1);
    EXPECT_THAT(stations, IsEmpty());
}

TEST_F(mainline_vap_test, asks_stations_to_go_to_the_custom_list) {
    only_station();
    EXPECT_EQ(vap()->send_bss_trans_req(station), 0);
    vap()->add_neighbor(neighbour(1, 44, true));
    vap()->add_neighbor(neighbour(2, 11, true));
    vap()->add_neighbor(neighbour(2, 1, true));  // has moved
    vap()->add_neighbor(neighbour(3, 300, true));
    hostapd.requests.clear();
    EXPECT_EQ(vap()->send_bss_trans_req("02:00:00:00:04:00 pref=0"), -1);
    EXPECT_EQ(vap()->send_bss_trans_req(nullptr), -1);
    EXPECT_EQ(vap()->send_bss_trans_req(station), 0);
    EXPECT_THAT(hostapd.requests, ElementsAre("wlan0-va0 BSS_TM_REQ 02:00:00:00:04:00 pref=1 abridged=1"
                                              " neighbor=02:00:00:00:09:01,0x1867,115,44,9,0301ff"
                                              " neighbor=02:00:00:00:09:02,0x0867,81,1,7,0301fe"));
    EXPECT_EQ(only_station().roam_attempts, 2);
    vap()->del_custom_neighbors();
    hostapd.requests.clear();
    vap()->send_bss_trans_req(station);
    EXPECT_THAT(hostapd.requests, ElementsAre("wlan0-va0 BSS_TM_REQ 02:00:00:00:04:00"));

    // It is forgotten with the association, also one that is as old by now as the other was, and after the timeout.
    system.advance_ms(5000);
    EXPECT_EQ(only_station().roam_attempts, 0);
    for (const char* name : {"wlan0", "wlan0-va0"})
        EXPECT_EQ(back_ends.back_end_of(this, name)->set_quarn_roam_attempt_timeout(30), 0);
    vap()->send_bss_trans_req(station);
    system.advance_ms(29000);
    kernel.connected_s += 29;
    EXPECT_EQ(only_station().roam_attempts, 1);
    system.advance_ms(2000);
    EXPECT_EQ(only_station().roam_attempts, 0);
    transition = "FAIL";
    EXPECT_EQ(vap()->send_bss_trans_req(station), -1);
    EXPECT_EQ(only_station().roam_attempts, 0);
    for (int i = 0; i < 100; ++i)
        vap()->add_neighbor(neighbour(static_cast<std::uint8_t>(i), 6, true));
    EXPECT_EQ(back_ends.memory().vap("wlan0-va0").custom.size(), 64u);
    vap()->send_bss_trans_req(station);
    EXPECT_LT(hostapd.requests.back().size(), 1024u);
}

TEST_F(mainline_vap_test, keeps_hostapds_list) {
    EXPECT_EQ(vap()->add_neighbor(neighbour(1, 44)), 0);
    EXPECT_EQ(hostapd.requests.back(),
              "wlan0-va0 SET_NEIGHBOR 02:00:00:00:09:01 ssid=686f757365 nr=02000000090167180000732c09");
    for (std::uint8_t i = 2; i < 40; ++i)
        EXPECT_EQ(vap()->add_neighbor(neighbour(i, 11)), 0);
    neighbour_entry itself = neighbour(1, 6);
    itself.bssid = {0x42, 0, 0, 0, 0, 0};
    EXPECT_EQ(vap()->add_neighbor(itself), 0);  // hostapd's own entry stays as it is
    EXPECT_EQ(vap()->add_neighbor(neighbour(50, 20)), -1);
    neighbour_entry odd = neighbour(51, 1);
    odd.ssid = "a\nREMOVE_NEIGHBOR x";
    EXPECT_EQ(vap()->add_neighbor(odd), 0);
    EXPECT_EQ(hostapd.requests.back().find('\n'), std::string::npos);
    odd.ssid.assign(33, 'a');
    EXPECT_EQ(vap()->add_neighbor(odd), -1);
    EXPECT_EQ(list.size(), 41u);

    // One that answers late each time is given up for the rest of a list.
    answer_ms = 900;
    const double started = system.now_s();
    const auto late = vap();
    EXPECT_EQ(late->del_neighbors(), -1);
    EXPECT_LT(system.now_s() - started, 7);
    EXPECT_EQ(late->hung_commands(), 2);
    EXPECT_GT(list.size(), 30u);
    answer_ms = 0;
    EXPECT_EQ(vap()->del_neighbors(), 0);
    EXPECT_EQ(list.size(), 1u);
    EXPECT_EQ(list.count("42:00:00:00:00:00"), 1u);

    // A silent hostapd costs its time limit, and one that is spared nothing.
    hostapd.hangs = true;
    const double began = system.now_s();
    const auto ops = vap();
    EXPECT_EQ(ops->add_neighbor(neighbour(1, 44)) + ops->del_neighbors(), -2);
    EXPECT_EQ(ops->hung_commands(), 2);
    EXPECT_LE(system.now_s() - began, 2.01);
    ops->spare_hostapd();
    EXPECT_EQ(ops->add_neighbor(neighbour(1, 44)) + ops->del_neighbors(), -2);
    EXPECT_EQ(ops->add_neighbor(neighbour(1, 44, true)), 0);
    EXPECT_LE(system.now_s() - began, 2.01);
    hostapd.hangs = false;
    hostapd.stop("wlan0-va0");
    EXPECT_EQ(vap()->add_neighbor(neighbour(1, 44)), -1);
}

TEST_F(mainline_vap_test, sees_coexistence_narrow_the_radio) {
    const struct {
        const char* state;
        bool narrowed;
    } rows[] = {{"freq=2437\nnum_sta_ht40_intolerant=0\nsecondary_channel=1\nht_caps_info=000e\n", false},
                {"freq=2437\nnum_sta_ht40_intolerant=0\nsecondary_channel=0\nht_caps_info=000e\n", true},
                {"freq=2437\nnum_sta_ht40_intolerant=0\nsecondary_channel=0\nht_caps_info=000c\n", false},
                {"freq=2437\nnum_sta_ht40_intolerant=1\nsecondary_channel=0\nht_caps_info=000c\n", true},
                {"freq=5180\nnum_sta_ht40_intolerant=0\nsecondary_channel=0\nht_caps_info=000e\n", false},
                {"", false},
                {"FAIL", false}};
    for (const auto& row : rows) {
        state = row.state;
        EXPECT_EQ(radio()->get_obss_coex(), row.narrowed) << row.state;
    }
}

TEST(hostapd_text, reads_lists_whatever_stands_there) {
    const auto read = [](const std::string& text) {
        std::string requests;
        for (const listed_neighbour& one : read_neighbour_list(text))
            requests += remove_neighbour_request(one) + "; ";
        return requests;
    };
    EXPECT_EQ(read(std::string(own_entry) + "02:00:00:00:09:01 nr=00\n02:00:00:00:09:02"),
              "REMOVE_NEIGHBOR 42:00:00:00:00:00 ssid=686f757365; REMOVE_NEIGHBOR 02:00:00:00:09:01; "
              "REMOVE_NEIGHBOR 02:00:00:00:09:02; ");
    EXPECT_EQ(read("\n\nFAIL\n02:00:00:00:09\n02:00:00:00:09:01 ssid=\"a b\" nr=\n"), "");
}

TEST(bss_elements, believes_what_fits_the_channel) {
    const auto ht = [](int primary, int offset) {
        std::vector<int> element{61, 22, primary, offset};
        element.resize(24);
        return element;
    };
    const auto vht = [](int width, int first, int second = 0) {
        return std::vector<int>{192, 5, width, first, second, 0, 0};
    };
    using parts = std::vector<std::vector<int>>;
    const struct {
        parts elements;
        std::uint32_t channel;
        std::uint32_t bandwidth, sideband;
        int power;
    } rows[] = {{{}, 6, 20, 0, 0},
                {{ht(6, 5)}, 6, 40, 0, 0},
                {{ht(6, 7)}, 6, 40, 0x100, 0},
                {{ht(6, 1)}, 6, 20, 0, 0},             // 40 MHz not in use
                {{ht(6, 6)}, 6, 20, 0, 0},             // a reserved offset
                {{ht(11, 5)}, 6, 20, 0, 0},            // another channel's
                {{ht(1, 7)}, 1, 20, 0, 0},             // below the band
                {{ht(6, 5), vht(1, 8)}, 6, 40, 0, 0},  // no VHT in this band
                {{ht(44, 5), vht(0, 0)}, 44, 40, 0, 0},
                {{ht(44, 5), vht(1, 42)}, 44, 80, 0x200, 0},
                {{ht(44, 5), vht(1, 42, 50)}, 44, 80, 0x200, 0},
                {{ht(48, 7), vht(2, 50)}, 48, 80, 0x300, 0},
                {{ht(44, 5), vht(1, 155)}, 44, 40, 0, 0},
                {{vht(2, 0)}, 44, 20, 0, 0},
                {{vht(1, 255)}, 44, 20, 0, 0},
                {{{0, 4, 'a'}, ht(44, 5)}, 44, 20, 0, 0},  // lengths that lead elsewhere
                {{{35, 2, 17, 0}, ht(44, 5)}, 44, 40, 0, 17},
                {{{35, 1, 17}, {35, 2, 0xff, 0}}, 44, 20, 0, -1},
                {{{61, 1, 6}, ht(6, 5)}, 6, 40, 0, 0},  // too short to be one
                {{ht(6, 5), {35, 200}}, 6, 40, 0, 0}};
    int number = 0;
    for (const auto& row : rows) {
        std::vector<std::uint8_t> bytes;
        for (const auto& element : row.elements)
            bytes.insert(bytes.end(), element.begin(), element.end());
        const bss_description bss = describe_bss(bytes.data(), bytes.size(), row.channel);
        EXPECT_THAT((std::array{int(bss.block.bandwidth), int(bss.block.sideband), bss.tx_power}),
                    ElementsAre(row.bandwidth, row.sideband, row.power))
            << number;
        ++number;
    }
}

}  // namespace
}  // namespace ravd::testing

// Files and descriptions: what is read from them, and which are refused where.
#include "hostd/setup.h"
#include "tests/hostd/access_point.h"

namespace ravd::hostd::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(settings_file, lines_are_taken_or_named) {
    settings own;
    std::string error;
    EXPECT_TRUE(
        parse_settings("# a comment\n\nhostapd_directory = /run/other\nhostapd_config=/a\nhostapd_config=/b\n"
                       "/corvane/dca=false\n/interface/wlan0/wlan/radio/limit-channels= 1 6 11 \n",
                       own, error));
    EXPECT_EQ(own.hostapd_directory, "/run/other");
    EXPECT_THAT(own.hostapd_files, ElementsAre("/a", "/b"));
    EXPECT_EQ(own.values["/interface/wlan0/wlan/radio/limit-channels"], "1 6 11");
    for (const char* bad : {"dca=true", "no equals", "=x", "hostapd_config=relative", "/a//b=x", "/a/=x",
                            "/interface/wlan0/wlan/radio/tx-power=low"}) {
        EXPECT_FALSE(parse_settings(std::string("#\n") + bad, own, error)) << bad;
        EXPECT_EQ(error, std::string("line 2: not usable: ") + bad);
    }
}

TEST(hostapd_file, channel_holders_and_country_are_those_of_the_vaps_file) {
    hostapd_config config;
    config.add("interface=wlan0-va0\nchannel=acs_survey\nbss=wlan0-va1\nmobility_domain=a1b2\nr1kh=x y z\n");
    config.add(
        "interface=wlan1-va0\r\nchannel=149\nieee80211n=1\nieee80211ac=1\nht_capab=[SHORT-GI-20][HT40+]\n"
        "vht_oper_chwidth=1\ncountry_code=DE\nrrm_neighbor_report=1\n");
    config.add("interface=wlan2-va0\nchannel=9\nieee80211n=1\nht_capab=[HT40-]\n");
    EXPECT_EQ(config.channel("wlan0-va1").channel, 0u);
    EXPECT_EQ(config.channel("wlan1-va0").width, 80u);
    EXPECT_EQ(config.channel("wlan2-va0").width, 40u);
    EXPECT_TRUE(config.channel("wlan2-va0").upper);
    EXPECT_EQ(config.holders("wlan0-va1").mobility_domain, "a1b2");
    EXPECT_THAT(config.holders("wlan0-va0").r1kh, IsEmpty());
    EXPECT_EQ(config.country("wlan1-va0"), "DE");
    EXPECT_TRUE(config.steers("wlan1-va0"));
    EXPECT_FALSE(config.has("wlan3-va0"));
    const std::string arguments[] = {"/usr/sbin/hostapd", "-B",     "-P", "/run/hostapd.pid",
                                     "/etc/a.conf",       "b.conf", "/c"};
    std::string line;
    for (const std::string& one : arguments)
        line.append(one).push_back('\0');
    EXPECT_THAT(files_of_command_line(line), ElementsAre("/etc/a.conf", "/c"));
}

class setup_test : public ::testing::Test {
  protected:
    // The reason, or "done".
    std::string make(const std::string& text) {
        setup_description wanted;
        std::string reason;
        kernel.added.clear();
        const link_port links{[this](const std::string& name, bool up) {
                                  changed.push_back(name + (up ? " up" : " down"));
                                  return link_error;
                              },
                              [this](const std::string& name, const MacAddr& mac) {
                                  changed.push_back(name + " " + mac.to_lower());
                                  return 0;
                              }};
        if (!parse_setup(text, wanted, reason)) return reason;
        return make_interfaces(
                   wanted, kernel, links, [](const std::string&) {}, reason)
                   ? "done"
                   : reason;
    }
    memory_kernel kernel;
    std::vector<std::string> changed;
    int link_error = 0;
};

TEST_F(setup_test, makes_what_is_missing_with_the_agents_addresses) {
    const std::string text =
        "base 02:00:5E:00:01:00\nwlan0 phy0 # the lower band\nwlan0-va0\nwlan0-va1\nwlan1 phy1\nwlan1-va0\n";
    EXPECT_EQ(make(text), "done");
    EXPECT_THAT(kernel.added, ElementsAre("wlan0", "wlan0-va0", "wlan0-va1", "wlan1", "wlan1-va0"));
    EXPECT_THAT(kernel.find("wlan0-va1")->mac, ElementsAre(2, 0, 0x5e, 0, 1, 2));
    EXPECT_THAT(kernel.find("wlan1-va0")->mac, ElementsAre(2, 0, 0x5e, 0, 1, 9));
    kernel.find("wlan0-va0")->mac[5] = 0x77;
    changed.clear();
    EXPECT_EQ(make(text), "done");
    EXPECT_THAT(kernel.added, IsEmpty());
    EXPECT_THAT(changed, ElementsAre("wlan0 up", "wlan0-va0 down", "wlan0-va0 02:00:5e:00:01:01", "wlan1 up"));
}

TEST_F(setup_test, a_radio_is_found_by_its_interface_which_goes) {
    kernel.make("wlp2s0", 1, wireless_type::station);
    EXPECT_EQ(make("base 02:00:5E:00:01:00\nwlan0 wlp2s0\nwlan0-va0\n"), "done");
    EXPECT_EQ(kernel.find("wlp2s0"), nullptr);
    EXPECT_EQ(kernel.find("wlan0-va0")->phy, 1u);
    EXPECT_EQ(make("base 02:00:5E:00:01:00\nwlan0 phy0\n"), "wlan0 is there, of another radio or kind");
    kernel.first_phy = 4000;  // the driver was loaded often
    EXPECT_EQ(make("base 02:00:5E:00:01:00\nwlan1 phy4001\n"), "done");
}

TEST_F(setup_test, refuses_at_the_line_or_the_step) {
    for (const char* bad : {"wlan0", "wlan0 phy0 phy1", "wlan0-va0", "eth0 phy0", "wlan7 phy0", "country USA",
                            "country us", "base 02:00", "wlan0;reboot phy0", "wlan0 a-name-that-is-too-long"})
        EXPECT_EQ(make(bad), std::string("line 1: not usable: ") + bad);
    EXPECT_EQ(make("# nothing"), "it has no radio");
    EXPECT_EQ(make("wlan0 phy0\nwlan0-va0\nwlan0-va0"), "line 3: not usable: wlan0-va0");
    EXPECT_EQ(make("base 02:00:5E:00:01:00\nwlan0 phy9"), "there is neither a radio nor an interface phy9");
    link_error = -ERFKILL;
    EXPECT_EQ(make("base 02:00:5E:00:01:00\nwlan0 phy0"), "wlan0 up: Operation not possible due to RF-kill");
}

}  // namespace
}  // namespace ravd::hostd::testing

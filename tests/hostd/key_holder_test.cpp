// Key holders of fast transition: what hostapd is told, and how little.
#include "tests/hostd/access_point.h"

namespace ravd::hostd::testing {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

const std::string key(64, '7');

std::string remote(const std::string& r0, const std::string& r1, const std::string& with = key) {
    return "\"" + r1 + R"(":{"r0-kh-id":")" + r0 + R"(","r1-kh-id":")" + r1 + R"(","r0-kh-key":")" + with +
           R"(","r1-kh-key":")" + with + "\"}";
}

// The domain and own identities are as configured, unless said otherwise.
std::string order(const std::string& remotes, int domain = 0x12ab, const std::string& vap = "wlan0-va0") {
    return R"({"command":"update-corvane-fbt",")" + vap +
           R"(":{"ft-config":{"enabled":"true","ft-over-ds":"true","ft-psk-generate-local":"false",)" +
           R"("reassociation-deadline":1000,"mobility-domain":)" + std::to_string(domain) +
           R"(,"r0-key-holder-id":"ap1","r1-key-holder-id":"020000000001","mac":{)" + remotes + "}}}}";
}
const std::string withdraw = R"({"command":"reset-corvane-fbt","wlan0-va0":{},"wlan1-va6":{}})";

class key_holder_test : public hostd_test {
  protected:
    key_holder_test() {
        start_hostapd();
        pass(1500);
        orders();
        notified("");
    }
};

TEST_F(key_holder_test, only_what_differs_is_told_and_stations_stay) {
    const std::string two = remote("ap2", "02:00:00:00:00:02") + "," + remote("known", "02:00:00:00:00:07");
    EXPECT_EQ(ask(order(two)), "ok");
    EXPECT_THAT(orders(), ElementsAre("wlan0-va0 SET r0kh 02:00:00:00:00:02 ap2 " + key,
                                      "wlan0-va0 SET r0kh 02:00:00:00:00:07 known " + key,
                                      "wlan0-va0 SET r1kh 02:00:00:00:00:02 02:00:00:00:00:02 " + key,
                                      "wlan0-va0 SET r1kh 02:00:00:00:00:07 02:00:00:00:00:07 " + key));
    EXPECT_TRUE(notified("config_updated"));
    EXPECT_EQ(ask(order(two)), "ok");
    EXPECT_THAT(orders(), IsEmpty());
    EXPECT_EQ(ask(order(remote("known", "02:00:00:00:00:07"))), "ok");
    const auto told = orders();
    ASSERT_THAT(told, SizeIs(2));
    EXPECT_THAT(told[0], AllOf(HasSubstr("SET r0kh 02:00:00:00:00:02 ap2 "), Not(HasSubstr(key)))) << "a key left";
    // The configured one gets its own key back.
    EXPECT_EQ(ask(order(two + "," + remote("ap3", "02:00:00:00:00:0A"))), "ok");
    orders();
    EXPECT_EQ(ask(withdraw), "ok");
    const auto given = orders();
    EXPECT_THAT(given, Contains("wlan0-va0 SET r0kh 02:00:00:00:00:07 known 00112233445566778899aabbccddeeff"));
    EXPECT_THAT(given,
                Contains("wlan0-va0 SET r1kh 02:00:00:00:00:0A 02:00:00:00:00:0A 00112233445566778899aabbccddeeff"));
    EXPECT_EQ(ask(withdraw), "ok");
    EXPECT_THAT(orders(), IsEmpty());
}

TEST_F(key_holder_test, another_domain_needs_a_reload_and_the_reset_another) {
    EXPECT_EQ(ask(order("", 0xf00)), "ok");
    EXPECT_THAT(orders(), ElementsAre("wlan0-va0 SET mobility_domain 0f00", "wlan0-va0 RELOAD"));
    EXPECT_EQ(ask(withdraw), "ok");
    EXPECT_THAT(orders(), ElementsAre("wlan0-va0 SET mobility_domain 12ab", "wlan0-va0 RELOAD"));
    // No configuration file of that VAP is known: there would be no way back.
    EXPECT_THAT(ask(order("", 0xf00, "wlan1-va0")), HasSubstr("not known"));
}

TEST_F(key_holder_test, another_hostapd_gets_them_again) {
    EXPECT_EQ(ask(order(remote("ap2", "020000000002"))), "ok");
    stop_hostapd();
    pass(1500);
    orders();
    start_hostapd();
    pass(1500);
    EXPECT_THAT(orders(), Contains("wlan0-va0 SET r0kh 02:00:00:00:00:02 ap2 " + key));
}

TEST_F(key_holder_test, one_unusable_part_and_nothing_is_told) {
    const std::string good = remote("ap2", "02:00:00:00:00:02") + ",";
    const std::string bad[] = {
        order(good + remote("a b", "02:00:00:00:00:03")),
        order(good + remote("ap3\\nSET", "02:00:00:00:00:03")),
        order(good + remote("ap3", "02:00:00:00:00")),
        order(good + remote("ap3", "02:00:00:00:00:03", "short")),
        order(good + remote("ap3", "02:00:00:00:00:03", std::string(64, 'z'))),
        order(remote("ap2", "02:00:00:00:00:02"), 70000),
        order("", 0x12ab, "wlan0-va5"),
        R"({"command":"update-corvane-fbt","wlan0-va0":7})",
    };
    for (const std::string& one : bad)
        EXPECT_NE(ask(one), "ok") << one;
    EXPECT_THAT(orders(), IsEmpty());
    EXPECT_FALSE(notified("config_updated"));
    hostapd.on_request = [this](const std::string& name, const std::string& request) {
        return request == "GET_CONFIG" ? "ssid=office\nwpa=2\nkey_mgmt=WPA-PSK" : answer(name, request);
    };
    pass(11000);
    EXPECT_THAT(ask(order("")), HasSubstr("wpa_key_mgmt"));
}

TEST_F(key_holder_test, a_slow_hostapd_is_given_the_rest_later) {
    std::string many;
    for (int i = 0; i < 20; ++i)
        many += (i ? "," : "") + remote("ap" + std::to_string(i), "0200000001" + std::to_string(10 + i));
    hostapd.on_request = [this](const std::string& name, const std::string& request) {
        if (request.compare(0, 3, "SET") == 0) system.advance_ms(200);
        return answer(name, request);
    };
    const double began = system.now_s();
    EXPECT_THAT(ask(order(many)), HasSubstr("slow"));
    EXPECT_LT(system.now_s() - began, 2.0);
    pass(30000);
    EXPECT_THAT(orders(), SizeIs(40));

    // Nor is a reload lost for which no time is left.
    hostapd.on_request = [this](const std::string& name, const std::string& request) {
        if (request.compare(0, 3, "SET") == 0) system.advance_ms(400);
        return answer(name, request);
    };
    EXPECT_THAT(ask(order(many + "," + remote("ap", "020000000001"), 0xf00)), HasSubstr("slow"));
    pass(2000);
    EXPECT_THAT(orders(), Contains("wlan0-va0 RELOAD"));
}

}  // namespace
}  // namespace ravd::hostd::testing

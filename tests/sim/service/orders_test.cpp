// From what a user types to what goes over the wire.
#include "sim/service/orders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "sim/common/text.h"
#include "sim/service/order_check.h"

namespace ravd::sim {
namespace {

using testing::HasSubstr;

// The message behind "service":"rrm", or "error: ..." for a line that is refused.
std::string built(const std::string& line, order_context& context) {
    command_line parsed;
    std::string error;
    if (!parse_command_line(line, parsed, error)) return "error: " + error;
    const order* o = find_order(parsed.word);
    if (!o) return "error: no order";
    const json_ptr message = o->build(context, parsed.args, error);
    if (!message) return "error: " + error;
    const std::string text = json_compact(message.get());
    const std::string head = R"({"version":"2.4","service":"rrm",)";
    return text.compare(0, head.size(), head) == 0 ? text.substr(head.size()) : text;
}

TEST(Orders, BecomeTheMessagesOfTheProtocol) {
    const struct {
        const char* line;
        const char* message;
    } cases[] = {
        {"scan", R"("cmd":"rrm-update","rrm-scan-channels":"","rrm-scan-delay":0,"quarn-rrm-scanning":0})"},
        {"rrm-scan 6,40 3", R"("cmd":"rrm-update","rrm-scan-channels":"6 40","rrm-scan-delay":3,)"
                            R"("quarn-rrm-scanning":1})"},
        {"config radio=0 channel=6 bandwidth=40 primary=upper power=14 radio=1 roam-timeout=9 use-80211r=1",
         R"("cmd":"rrm-info","use-tpc":1,"use-dca":1,"use-80211v":0,"use-80211r":1,"radios":[{"id":0,"channel":6,)"
         R"("bandwidth":40,"primary-channel":"upper","power":14},{"id":1,"quarn-roam-attempt-timeout":9}]})"},
        {"neighbours \"00:11:22:33:44:55,6,200,my net=00:11:22:33:44:56\"",
         R"("cmd":"rrm-info","use-80211v":0,"802dot11k":[{"neighbour-mac":"00:11:22:33:44:55","channel":6,)"
         R"("priority":200,"vaps":[{"ssid":"my net","mac":"00:11:22:33:44:56"}]}]})"},
        {"overload 0 2 1 5", R"("cmd":"rrm-sta-overload","radios":[{"id":0,"roam-count":2},{"id":1,"roam-count":5}]})"},
        {"overload radio=0 count=1 neighbours=[{\"neighbour-mac\": \"x y\"}]",
         R"("cmd":"rrm-sta-overload","radios":[{"id":0,"roam-count":1}],"802dot11k":[{"neighbour-mac":"x y"}]})"},
        {"fbt over-ds=1 vap=1,0 domain=4660 r0=a r1=b key=k remote=c,d,e",
         R"("cmd":"fbt-info","fbt-reassoc-deadline":20000,"fbt-over-ds":1,"vaps":[{"vap_id":0,"radio_id":1,)"
         R"("mobility-domain":4660,"r0-key-holder-id":"a","r1-key-holder-id":"b","fbt-rrb-key":"k","remotes":)"
         R"([{"remote-r1-kh-id":"c","remote-r0-kh-id":"d","remote-r1-kh-key":"e"}]}]})"},
        {"subscribe-response domain=d config={\"use-dca\":1}",
         R"("cmd":"subscribe-response","status":"success","domain":"d","config":{"use-dca":1}})"},
        {"order rrm-new {\"a\": [1, \"}\"]}", R"("cmd":"rrm-new","a":[1,"}"]})"},
    };
    for (const auto& c : cases) {
        order_context context;
        EXPECT_EQ(built(c.line, context), c.message) << c.line;
    }
    // The switch that every configuration repeats.
    order_context context;
    context.ap_mac = "00:11:22:33:44:55";
    EXPECT_EQ(built("config use-80211v=1", context),
              R"("cmd":"rrm-info","ap-mac":"00:11:22:33:44:55","use-80211v":1})");
    EXPECT_THAT(built("config radio=0 power=3", context), HasSubstr("\"use-80211v\":1"));
    EXPECT_THAT(built("neighbours []", context), HasSubstr("\"use-80211v\":1"));
    EXPECT_THAT(built("old-version 1.9", context), HasSubstr("{\"version\":\"1.9\",\"service\":\"rrm\""));
}

TEST(Orders, WrongArgumentsAreRefusedWithAReason) {
    const std::pair<const char*, const char*> cases[] = {
        {"scan channels=1,x", "channels are numbers"},
        {"scan delay=soon", "delay takes a number"},
        {"rrm-scan", "needs channels"},
        {"config channel=6", "before any radio="},
        {"config radio=0 colour=1", "unknown argument colour"},
        {"neighbours /nonexistent", "cannot read"},
        {"neighbours 00:11,6", "a neighbour is"},
        {"overload", "at least one radio"},
        {"fbt r0=x", "before any vap="},
        {"fbt vap=1", "RADIO,VAP"},
        {"order x 7", "no JSON object"},
        {"config \"radio=0", "quote or bracket"},
        {"agent 1", "a command is missing"},
    };
    for (const auto& [line, reason] : cases) {
        order_context context;
        EXPECT_THAT(built(line, context), testing::ContainsRegex("^error: .*" + std::string(reason))) << line;
    }
}

// What is wrong with an order for an agent whose second radio is down; or what it is warned of.
std::string judged(const std::string& line) {
    std::string error;
    command_line parsed;
    order_context context;
    EXPECT_TRUE(parse_command_line(line, parsed, error)) << line;
    const json_ptr message = find_order(parsed.word)->build(context, parsed.args, error);
    EXPECT_TRUE(message) << line << error;
    radio_view first;
    first.active = true;
    first.available = {1, 6, 11};
    first.power_min = 8;
    first.power_max = 20;
    first.vaps = {{0, "office", "", true, false}};
    radio_view second = first;
    second.id = 1;
    second.available = {36, 40};
    second.vaps.clear();
    const order_judgement verdict = judge_order(message.get(), {first, second});
    return verdict.warnings.empty() ? verdict.fault : verdict.fault + "warning: " + verdict.warnings[0];
}

TEST(Orders, AreJudgedBeforeTheyAreSent) {
    const std::pair<const char*, const char*> cases[] = {
        {"scan channels=1,36", ""},
        {"scan", ""},
        {"scan channels=6", "warning: the list names no channel of radio 1"},
        {"scan channels=40", "warning: the list names no channel of radio 0"},
        {"scan channels=7,36", "radio 0 does not offer channel 7, but 1 6 11"},
        {"config radio=0 channel=6 power=20 bandwidth=40 primary=upper", ""},
        {"config radio=2 channel=6", "the agent has no radio 2"},
        {"config radio=1 channel=6", "radio 1 does not offer channel 6"},
        {"config radio=0 power=21", "radio 0 sends with 8 to 20, not with 21"},
        {"config radio=0 bandwidth=30", "radios[0].bandwidth: 20, 40 or 80 is needed"},
        {"config use-dca=2", "use-dca: 0 or 1 is needed"},
        {"neighbours [{\"chanel\":6}]", "802dot11k[0]: unknown member \"chanel\""},
        {"overload 0 0", "radios[0].roam-count: a number from 1"},
        {"overload 3 1", "the agent has no radio 3"},
        {"fbt vap=0,5 r0=a r1=b", "radio 0 has no VAP 5"},
        {"order rrm-update {\"rrm-scan-chanels\":\"\"}", "unknown member"},
        {"order made-up {\"anything\":1}", ""},
        {"old-version", ""},
    };
    for (const auto& [line, verdict] : cases)
        EXPECT_EQ(judged(line).substr(0, std::max<std::size_t>(std::string(verdict).size(), 1)), verdict) << line;
    EXPECT_EQ(nearest("rrm-respnse", {"rrm-response", "rrm-config-changed"}), "rrm-response");
    EXPECT_EQ(nearest("x", {"rrm-response"}), "");
}

TEST(CommandLine, FindsTargetWordAndPayload) {
    const std::pair<const char*, const char*> cases[] = {
        {"  agent 2 scan delay=1  ", "2|scan|delay=1"},
        {"{\"a\": \"b  c\"}", "|text|{\"a\": \"b  c\"}"},
        {"text  un\"closed", "|text|un\"closed"},
        {"# a comment", "||"},
    };
    for (const auto& [line, wanted] : cases) {
        command_line parsed;
        std::string error;
        ASSERT_TRUE(parse_command_line(line, parsed, error)) << line << error;
        EXPECT_EQ(parsed.selector + "|" + parsed.word + "|" + parsed.rest, wanted);
    }
    std::string bytes;
    EXPECT_TRUE(parse_hex("81 0a FF", bytes));
    EXPECT_EQ(bytes, "\x81\x0a\xff");
    for (const char* wrong : {"8 1", "zz", "81 0"})
        EXPECT_FALSE(parse_hex(wrong, bytes)) << wrong;
}

}  // namespace
}  // namespace ravd::sim

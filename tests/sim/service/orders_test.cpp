// From what a user types to what goes over the wire.
#include "sim/service/orders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravd::lab {
namespace {

using testing::HasSubstr;

// The message behind the envelope, or "error: ..." for a line that is refused.
std::string built(const std::string& line, order_context& context) {
    command_line parsed;
    std::string error;
    if (!parse_command_line(line, parsed, error)) return "error: " + error;
    const order* o = find_order(parsed.word);
    if (!o) return "error: no order";
    const json_ptr message = o->build(context, parsed.args, error);
    return message ? json_compact(message.get()) : "error: " + error;
}

TEST(Orders, BecomeTheMessagesOfTheProtocol) {
    const std::string head = "{\"version\":\"2.4\",\"service\":\"rrm\",\"cmd\":\"";
    const struct {
        const char* line;
        std::string message;
    } cases[] = {
        {"scan", "rrm-update\",\"rrm-scan-channels\":\"\",\"rrm-scan-delay\":0,\"quarn-rrm-scanning\":0}"},
        {"scan channels=1,6,36 delay=5",
         "rrm-update\",\"rrm-scan-channels\":\"1 6 36\",\"rrm-scan-delay\":5,\"quarn-rrm-scanning\":0}"},
        {"rrm-scan 6,40 3",
         "rrm-update\",\"rrm-scan-channels\":\"6 40\",\"rrm-scan-delay\":3,\"quarn-rrm-scanning\":1}"},
        {"mode", "rrm-request-mode\"}"},
        {"config radio=0 channel=6 bandwidth=40 primary=upper power=14 radio=1 roam-timeout=9 use-80211r=1",
         "rrm-info\",\"use-tpc\":1,\"use-dca\":1,\"use-80211v\":0,\"use-80211r\":1,\"radios\":[{\"id\":0,\"channel\":6,"
         "\"bandwidth\":40,\"primary-channel\":\"upper\",\"power\":14},{\"id\":1,\"quarn-roam-attempt-timeout\":9}]}"},
        {"config radio=-1 channel=6 use-dca=0",
         "rrm-info\",\"use-dca\":0,\"use-80211v\":0,\"radios\":[{\"id\":-1,\"channel\":6}]}"},
        {"neighbours \"00:11:22:33:44:55,6,200,my net=00:11:22:33:44:56\"",
         "rrm-info\",\"use-80211v\":0,\"802dot11k\":[{\"neighbour-mac\":\"00:11:22:33:44:55\",\"channel\":6,"
         "\"priority\":200,"
         "\"vaps\":[{\"ssid\":\"my net\",\"mac\":\"00:11:22:33:44:56\"}]}]}"},
        {"neighbours []", "rrm-info\",\"use-80211v\":0,\"802dot11k\":[]}"},
        {"overload 0 2 1 5",
         "rrm-sta-overload\",\"radios\":[{\"id\":0,\"roam-count\":2},{\"id\":1,\"roam-count\":5}]}"},
        {"overload radio=0 count=1 neighbours=[{\"neighbour-mac\": \"x y\"}]",
         "rrm-sta-overload\",\"radios\":[{\"id\":0,\"roam-count\":1}],\"802dot11k\":[{\"neighbour-mac\":\"x y\"}]}"},
        {"fbt over-ds=1 vap=1,0 domain=4660 r0=a r1=b key=k remote=c,d,e",
         "fbt-info\",\"fbt-reassoc-deadline\":20000,\"fbt-over-ds\":1,\"vaps\":[{\"vap_id\":0,\"radio_id\":1,"
         "\"mobility-domain\":4660,\"r0-key-holder-id\":\"a\",\"r1-key-holder-id\":\"b\",\"fbt-rrb-key\":\"k\","
         "\"remotes\":"
         "[{\"remote-r1-kh-id\":\"c\",\"remote-r0-kh-id\":\"d\",\"remote-r1-kh-key\":\"e\"}]}]}"},
        {"fbt {\"vaps\": []}", "fbt-info\",\"vaps\":[]}"},
        {"subscribe-response code=503", "subscribe-response\",\"status\":\"failure\",\"code\":503}"},
        {"subscribe-response domain=d config={\"use-dca\":1}",
         "subscribe-response\",\"status\":\"success\",\"domain\":\"d\",\"config\":{\"use-dca\":1}}"},
        {"blacklist", "rrm-blacklist\"}"},
        {"order rrm-new {\"a\": [1, \"}\"]}", "rrm-new\",\"a\":[1,\"}\"]}"},
    };
    for (const auto& c : cases) {
        order_context context;
        EXPECT_EQ(built(c.line, context), head + c.message) << c.line;
    }
}

TEST(Orders, RememberTheSwitchThatEveryConfigurationRepeats) {
    order_context context;
    context.ap_mac = "00:11:22:33:44:55";
    EXPECT_THAT(built("config use-80211v=1", context), HasSubstr("\"ap-mac\":\"00:11:22:33:44:55\",\"use-80211v\":1}"));
    EXPECT_THAT(built("config radio=0 power=3", context), HasSubstr("\"use-80211v\":1"));
    EXPECT_THAT(built("neighbours []", context), HasSubstr("\"use-80211v\":1"));
    EXPECT_THAT(built("old-version 1.9", context), HasSubstr("{\"version\":\"1.9\",\"service\":\"rrm\""));
}

TEST(Orders, WrongArgumentsAreRefusedWithAReason) {
    const struct {
        const char* line;
        const char* reason;
    } cases[] = {
        {"scan channels=1,x", "channels are numbers"},
        {"scan delay=soon", "delay takes a number"},
        {"scan speed=3", "unknown argument speed"},
        {"rrm-scan", "needs channels"},
        {"mode now", "takes no arguments"},
        {"config channel=6", "before any radio="},
        {"config radio=0 channel=six", "takes a number"},
        {"config radio=0 colour=1", "unknown argument colour"},
        {"neighbours", "needs a file"},
        {"neighbours /nonexistent", "cannot read"},
        {"neighbours 00:11,6", "a neighbour is"},
        {"neighbours {}", "array is needed"},
        {"overload", "at least one radio"},
        {"overload count=1", "before any radio"},
        {"fbt r0=x", "before any vap="},
        {"fbt vap=1", "RADIO,VAP"},
        {"fbt [{", "bracket is not closed"},
        {"order x 7", "no JSON object"},
        {"config \"radio=0", "quote or bracket"},
        {"agent", "needs a number"},
        {"agent 1", "a command is missing"},
    };
    for (const auto& c : cases) {
        order_context context;
        const std::string result = built(c.line, context);
        EXPECT_THAT(result, HasSubstr("error: ")) << c.line;
        EXPECT_THAT(result, HasSubstr(c.reason)) << c.line;
    }
}

TEST(CommandLine, FindsTargetWordAndPayload) {
    const struct {
        const char* line;
        target to;
        const char* selector;
        const char* word;
        const char* rest;
    } cases[] = {
        {"  scan  ", target::newest, "", "scan", ""},
        {"agent 2 scan delay=1", target::one, "2", "scan", "delay=1"},
        {"agent 00:11:22:33:44:55 drop", target::one, "00:11:22:33:44:55", "drop", ""},
        {"all close 1001", target::all, "", "close", "1001"},
        {"agent all mode", target::all, "all", "mode", ""},
        {"{\"a\": \"b  c\"}", target::newest, "", "text", "{\"a\": \"b  c\"}"},
        {"agent 1 [1,  2", target::one, "1", "text", "[1,  2"},
        {"text  un\"closed", target::newest, "", "text", "un\"closed"},
        {"# a comment", target::newest, "", "", ""},
        {"", target::newest, "", "", ""},
    };
    for (const auto& c : cases) {
        command_line parsed;
        std::string error;
        ASSERT_TRUE(parse_command_line(c.line, parsed, error)) << c.line << error;
        EXPECT_EQ(parsed.to, c.to) << c.line;
        EXPECT_EQ(parsed.selector, c.selector);
        EXPECT_EQ(parsed.word, c.word);
        EXPECT_EQ(parsed.rest, c.rest);
    }
}

TEST(Hex, TakesPairsOnly) {
    std::string bytes;
    EXPECT_TRUE(parse_hex("81 0a FF", bytes));
    EXPECT_EQ(bytes, "\x81\x0a\xff");
    for (const char* wrong : {"8", "8 1", "zz", "81 0"})
        EXPECT_FALSE(parse_hex(wrong, bytes)) << wrong;
}

}  // namespace
}  // namespace ravd::lab

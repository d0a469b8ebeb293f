// The check of agents' messages against the examples of docs/protocol.md, as they are and spoiled.
#include "sim/service/protocol_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "sim/service/arguments.h"
#include "sim/service/orders.h"
#include "sim/service/protocol_tables.h"

namespace ravd::lab {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct example {
    std::string cmd;
    std::string sender;
    json_ptr message;
};

std::vector<example> examples() {
    std::string page;
    std::string error;
    EXPECT_TRUE(read_inline_or_file(RAVD_PROTOCOL_PAGE, page, error)) << error;
    std::vector<example> found;
    const std::string mark = "<!-- message: ";
    for (std::size_t at = page.find(mark); at != std::string::npos; at = page.find(mark, at + 1)) {
        const std::size_t name = at + mark.size();
        const std::size_t blank = page.find(' ', name);
        const std::size_t start = page.find("```json\n", at) + 8;
        example e;
        e.cmd = page.substr(name, blank - name);
        e.sender = page.substr(blank + 1, page.find(' ', blank + 1) - blank - 1);
        e.message = parse_json(page.substr(start, page.find("```", start) - start), error);
        EXPECT_TRUE(e.message) << e.cmd << ": " << error;
        EXPECT_EQ(json_text(e.message.get(), "cmd"), e.cmd);
        found.push_back(std::move(e));
    }
    return found;
}

std::vector<std::string> check(const std::string& text) {
    std::string error;
    const json_ptr message = parse_json(text, error);
    EXPECT_TRUE(message) << error << " in " << text;
    return check_message(message.get());
}

// The object with the same members, of which `change` may alter, skip or reorder the list.
json_ptr rebuilt(json_object* object,
                 const std::function<void(std::vector<std::pair<std::string, json_object*>>&)>& change) {
    std::vector<std::pair<std::string, json_object*>> members;
    json_object_object_foreach(object, name, value) { members.emplace_back(name, value); }
    change(members);
    json_ptr out(json_object_new_object());
    for (auto& m : members)
        json_object_object_add(out.get(), m.first.c_str(), json_object_get(m.second));
    return out;
}

TEST(ProtocolCheck, ExamplesOfThePageAreCleanAndComplete) {
    std::vector<std::string> from_agents;
    for (const example& e : examples()) {
        if (e.sender != "agent") continue;
        EXPECT_THAT(check_message(e.message.get()), IsEmpty()) << e.cmd;
        from_agents.push_back(e.cmd);
    }
    std::size_t count = 0;
    const message_rule* rules = message_rules(count);
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_THAT(from_agents, Contains(rules[i].cmd));
}

TEST(ProtocolCheck, EverySpoiledMemberIsReported) {
    for (const example& e : examples()) {
        if (e.sender != "agent") continue;
        const auto size = static_cast<std::size_t>(json_object_object_length(e.message.get()));
        for (std::size_t i = 0; i < size; ++i) {
            std::string name;
            const json_ptr removed = rebuilt(e.message.get(), [&](auto& m) {
                name = m[i].first;
                m.erase(m.begin() + static_cast<std::ptrdiff_t>(i));
            });
            if (name != "radio") {
                EXPECT_THAT(check_message(removed.get()), Contains(HasSubstr(name))) << e.cmd;
            }

            const json_ptr odd(json_object_new_double(1.5));
            const json_ptr mistyped = rebuilt(e.message.get(), [&](auto& m) { m[i].second = odd.get(); });
            EXPECT_THAT(check_message(mistyped.get()), Contains(HasSubstr(name))) << e.cmd;

            if (i == 0) continue;
            const json_ptr swapped = rebuilt(e.message.get(), [&](auto& m) { std::swap(m[i - 1], m[i]); });
            EXPECT_THAT(check_message(swapped.get()), Contains(HasSubstr("instead of before it"))) << e.cmd << name;
        }
    }
}

// The same inside of the objects that messages carry: replace one piece of text by another.
TEST(ProtocolCheck, SpoiledInnerMembersAreReportedWithTheirPlace) {
    const struct {
        const char* cmd;
        const char* piece;
        const char* other;
        const char* fault;
    } cases[] = {
        {"subscribe-request", "\"board\":\"board-7\",", "", "factory.board: is missing"},
        {"subscribe-request", "\"ap-mac-count\":16", "\"ap-mac-count\":15", "ap-mac-count: 16 is needed, not 15"},
        {"subscribe-request", "\"locked-for-dca\":0", "\"locked-for-dca\":false",
         "radios[0].locked-for-dca: an integer"},
        {"subscribe-request", "\"802dot11k\":1", "\"802dot11k\":2", "radios[0].vaps[0].802dot11k: 0 or 1"},
        {"subscribe-request", "\"id\":0,\"status\":1", "\"status\":1,\"id\":0", "radios[0]: \"id\" stands behind"},
        {"subscribe-request", "\"ssid\":\"office\",\"rssi\"", "\"rssi\"", "assoclist[0].ssid: is missing"},
        {"subscribe-request", "12 13 \"", "12 13\"", "radios[0].available-channels: ascending"},
        {"subscribe-request", "\"1 2 3 ", "\"2 1 3 ", "radios[0].available-channels: ascending"},
        {"subscribe-request", "00:1a:2b:3c:4d:52", "00:1A:2B:3C:4D:52", "vaps[1].mac: an address in lower case"},
        {"subscribe-request", "\"mac-offset\":8", "\"mac-offset\":7", "radios[1].mac-offset: 8"},
        {"subscribe-request", "\"locked-for-tpc\":1", "\"locked-for-tpc\":0", "radios[1].locked-for-tpc: 1"},
        {"subscribe-request", "\"power-min\":11", "\"power-min\":12", "radios[1].power-min: 11"},
        {"subscribe-request", "\"band\":5", "\"band\":2", "radios[1].band: 5"},
        {"subscribe-request", "\"status\":0", "\"status\":1", "radios[1].vaps: is missing"},
        {"subscribe-request", "\"status\":1", "\"status\":0", "radios[0].vaps: is there although"},
        {"rrm-response", "66:77:88:99:aa:02", "66:77:88:99:AA:02", "rf-environment[0][1].bssid: an address in lower"},
        {"rrm-response", "\"ll\"", "\"xx\"", "rf-environment[0][1].primary-channel: one of"},
        {"rrm-response", "\"bandwidth\":80", "\"bandwidth\":160", "[0][1].bandwidth: 20, 40 or 80"},
        {"rrm-response", "\"rf-environment\":[", "\"rf-environment\":[[],", "rf-environment[0]: a round that heard"},
        {"rrm-response", "\"rssi\":-61", "\"rssi\":3000000000", "rf-environment[0][0].rssi: 32 bits"},
        {"rrm-probe-response", "\"probe-list\":[{", "\"probe-list\":[7,{", "radios[0].probe-list[0]: an object"},
        {"rrm-client-assoc", "\"no-balance\":0", "\"no-balance\":0,\"x\":1", "unknown member \"x\""},
        {"rrm-sta-roam", "\"2.4\"", "\"2.5\"", "version: \"2.4\" is needed"},
        {"rrm-sta-roam", "\"cmd\":\"rrm-sta-roam\"", "\"cmd\":\"rrm-blacklist\"", "is no message of an agent"},
    };
    const std::vector<example> all = examples();
    for (const auto& c : cases) {
        for (const example& e : all) {
            if (e.cmd != c.cmd) continue;
            std::string text = json_compact(e.message.get());
            const std::size_t at = text.find(c.piece);
            ASSERT_NE(at, std::string::npos) << c.piece;
            text.replace(at, std::string(c.piece).size(), c.other);
            EXPECT_THAT(check(text), Contains(HasSubstr(c.fault))) << text;
        }
    }
}

TEST(ProtocolCheck, GarbageIsReportedAndBounded) {
    EXPECT_THAT(check("[]"), ElementsAre("a message is an object, not an array"));
    EXPECT_THAT(check("{\"cmd\":{}}"), Contains(HasSubstr("version: is missing")));
    std::string many = "{\"version\":\"2.4\",\"service\":\"rrm\",\"cmd\":\"rrm-mode-response\",\"radios\":[0";
    for (int i = 0; i < 999; ++i)
        many += ",0";
    const std::vector<std::string> faults = check(many + "]}");
    EXPECT_EQ(faults.size(), 21u);
    EXPECT_THAT(faults.back(), HasSubstr("and 9"));  // 1000 radios and two missing members, less the 20 listed
}

TEST(ParseJson, IsStrictAndBounded) {
    const struct {
        std::string text;
        const char* error;
    } cases[] = {
        {"{\"a\":1}", ""},
        {"", "end of data"},
        {"{\"a\":", "end of data"},
        {"{} x", "at byte"},
        {"{'a':1}", "only in strings"},
        {"[NaN]", "only in strings"},
        {"[1 /* */]", "only in strings"},
        {"null", "null"},
        {"\"\xff\"", "at byte"},
        {std::string(40, '[') + std::string(40, ']'), "at byte"},
        {"[" + std::string(json_container_limit, '[') + "\"", "objects and arrays"},
        {"[\"" + std::string(json_container_limit + 1, '[') + "\"]", ""},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_EQ(parse_json(c.text, error) != nullptr, *c.error == '\0') << c.text.substr(0, 50) << error;
        EXPECT_THAT(error, HasSubstr(c.error));
    }
}

TEST(Printable, TakesTheSpellOutOfHostileText) {
    EXPECT_EQ(printable("caf\xc3\xa9 \x1b[2J\n"), "caf\xc3\xa9 ?[2J?");
    EXPECT_EQ(printable("\xff\xc0\x80\xed\xa0\x80\xc2\x9b"),
              "??????"
              "?");
    EXPECT_EQ(printable("abcdef", 3), "abc");
}

}  // namespace
}  // namespace ravd::lab

// The check of agents' messages against the examples of docs/protocol.md, as they are and spoiled.
#include "sim/service/protocol_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "sim/common/text.h"
#include "sim/service/arguments.h"
#include "sim/service/protocol_tables.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

// The examples of what one side, "agent" or "service", sends, by command.
std::multimap<std::string, json_ptr> examples(const std::string& side = "agent") {
    std::string page;
    std::string error;
    EXPECT_TRUE(read_inline_or_file(RAVD_PROTOCOL_PAGE, page, error)) << error;
    std::multimap<std::string, json_ptr> found;
    const std::string mark = "<!-- message: ";
    for (std::size_t at = page.find(mark); at != std::string::npos; at = page.find(mark, at + 1)) {
        const std::size_t name = at + mark.size();
        const std::size_t blank = page.find(' ', name);
        const std::size_t start = page.find("```json\n", at) + 8;
        if (page.compare(blank + 1, side.size(), side) != 0) continue;
        const std::string cmd = page.substr(name, blank - name);
        json_ptr message = parse_json(page.substr(start, page.find("```", start) - start), error);
        EXPECT_TRUE(message) << cmd << ": " << error;
        EXPECT_EQ(json_text(message.get(), "cmd"), cmd);
        found.emplace(cmd, std::move(message));
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

TEST(ProtocolCheck, ExamplesOfThePageAreCleanAndCompleteAndSpoiledOnesAreNot) {
    const auto all = examples();
    std::size_t count = 0;
    const message_rule* rules = message_rules(count);
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_EQ(all.count(rules[i].cmd) > 0, true) << rules[i].cmd;
    for (const auto& [cmd, message] : all) {
        EXPECT_THAT(check_message(message.get()), IsEmpty()) << cmd;
        const auto size = static_cast<std::size_t>(json_object_object_length(message.get()));
        for (std::size_t i = 0; i < size; ++i) {
            std::string name;
            const json_ptr removed = rebuilt(message.get(), [&](auto& m) {
                name = m[i].first;
                m.erase(m.begin() + static_cast<std::ptrdiff_t>(i));
            });
            if (name != "radio") {
                EXPECT_THAT(check_message(removed.get()), Contains(HasSubstr(name))) << cmd;
            }

            const json_ptr odd(json_object_new_double(1.5));
            const json_ptr mistyped = rebuilt(message.get(), [&](auto& m) { m[i].second = odd.get(); });
            EXPECT_THAT(check_message(mistyped.get()), Contains(HasSubstr(name))) << cmd;
        }
    }
    for (const auto& [cmd, message] : examples("service")) {
        EXPECT_TRUE(find_order_rule(cmd.c_str())) << cmd;
        EXPECT_THAT(check_order_members(message.get()), IsEmpty()) << cmd;
    }
}

TEST(Clients, StayAsTheyComeAndGo) {
    std::vector<radio_view> before(2);
    before[1].id = 1;
    before[0].active = before[1].active = true;
    std::vector<radio_view> now = before;
    before[0].stations = {{"02:aa", "office", -50}};
    keep_clients(before, now);
    EXPECT_EQ(now[0].stations.size(), 1u);
    std::string error;
    follow_clients(parse_json(R"({"cmd":"rrm-client-assoc","radio":1,"sta-mac":"02:AA"})", error).get(), now);
    EXPECT_TRUE(now[0].stations.empty());
    EXPECT_EQ(now[1].stations.size(), 1u);
    follow_clients(parse_json(R"({"cmd":"rrm-sta-roam","radio":1,"sta-mac":"02:aa"})", error).get(), now);
    EXPECT_TRUE(now[1].stations.empty());
}

// The same inside of the objects that messages carry: replace one piece of text by another.
TEST(ProtocolCheck, SpoiledInnerMembersAreReportedWithTheirPlace) {
    const struct {
        const char *cmd, *piece, *other, *fault;
    } cases[] = {
        {"subscribe-request", R"("board":"board-7",)", "", "factory.board: is missing"},
        {"subscribe-request", R"("802dot11k":1)", R"("802dot11k":2)", "radios[0].vaps[0].802dot11k: 0 or 1"},
        {"subscribe-request", R"("id":0,"status":1)", R"("status":1,"id":0)", "radios[0]: \"id\" stands behind"},
        {"subscribe-request", R"("ssid":"office","rssi")", R"("rssi")", "assoclist[0].ssid: is missing"},
        {"subscribe-request", "12 13 \"", "12 13\"", "radios[0].available-channels: ascending"},
        {"subscribe-request", "\"1 2 3 ", "\"2 1 3 ", "radios[0].available-channels: ascending"},
        {"subscribe-request", "00:1a:2b:3c:4d:52", "00:1A:2B:3C:4D:52", "vaps[1].mac: an address in lower case"},
        {"subscribe-request", R"("power-min":11)", R"("power-min":12)", "radios[1].power-min: 11"},
        {"subscribe-request", R"("status":0)", R"("status":1)", "radios[1].vaps: is missing"},
        {"subscribe-request", R"("status":1)", R"("status":0)", "radios[0].vaps: is there although"},
        {"rrm-response", R"("ll")", R"("xx")", "rf-environment[0][1].primary-channel: one of"},
        {"rrm-response", R"("bandwidth":80)", R"("bandwidth":160)", "[0][1].bandwidth: 20, 40 or 80"},
        {"rrm-response", R"("rf-environment":[)", R"("rf-environment":[[],)", "[0]: a round that heard"},
        {"rrm-response", R"("rssi":-61)", R"("rssi":3000000000)", "rf-environment[0][0].rssi: 32 bits"},
        {"rrm-probe-response", R"("probe-list":[{)", R"("probe-list":[7,{)", "radios[0].probe-list[0]: an object"},
        {"rrm-client-assoc", R"("no-balance":0)", R"("no-balance":0,"x":1)", "unknown member \"x\""},
        {"rrm-sta-roam", R"("cmd":"rrm-sta-roam")", R"("cmd":"rrm-blacklist")", "is no message of an agent"},
    };
    const auto all = examples();
    for (const auto& c : cases) {
        const auto [begin, end] = all.equal_range(c.cmd);
        EXPECT_NE(begin, end);
        for (auto e = begin; e != end; ++e) {
            std::string text = json_compact(e->second.get());
            const std::size_t at = text.find(c.piece);
            ASSERT_NE(at, std::string::npos) << c.piece;
            text.replace(at, std::string(c.piece).size(), c.other);
            EXPECT_THAT(check(text), Contains(HasSubstr(c.fault))) << text;
        }
    }
    EXPECT_THAT(check("[]"), Contains("a message is an object, not an array"));
    std::string many = R"({"version":"2.4","service":"rrm","cmd":"rrm-mode-response","radios":[0)";
    for (int i = 0; i < 999; ++i)
        many += ",0";
    const std::vector<std::string> faults = check(many + "]}");
    EXPECT_EQ(faults.size(), 21u);
    EXPECT_EQ(faults.back(), "and 982 more");  // 1000 radios and two missing members, less the 20 listed
}

TEST(ParseJson, IsStrictAndBounded) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "end of data"},
        {"{} x", "at byte"},
        {"[1 /* */]", "only in strings"},
        {"null", "null"},
        {"\"\xff\"", "at byte"},
        {std::string(40, '[') + std::string(40, ']'), "at byte"},
        {"[" + std::string(json_container_limit, '[') + "\"", "objects and arrays"},
        {"[\"" + std::string(json_container_limit + 1, '[') + "\"]", ""},
    };
    for (const auto& [text, wanted] : cases) {
        std::string error;
        EXPECT_EQ(parse_json(text, error) != nullptr, *wanted == '\0') << text.substr(0, 50) << error;
        EXPECT_THAT(error, HasSubstr(wanted));
    }
}

TEST(Printable, TakesTheSpellOutOfHostileText) {
    EXPECT_EQ(printable("caf\xc3\xa9 \x1b[2J\n"), "caf\xc3\xa9 ?[2J?");
    EXPECT_EQ(printable("\xff\xc0\x80\xed\xa0\x80\xc2\x9b"), std::string(7, '?'));
    EXPECT_EQ(printable("abcdef", 3), "abc");
}

}  // namespace
}  // namespace ravd::sim

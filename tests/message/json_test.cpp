#include "message/json.h"

#include <gmock/gmock.h>
#include <json-c/json.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/safe_queue.h"
#include "message/mac_addr.h"
#include "message/utf8.h"

namespace ravd {
namespace {

// What send_json pushes.
std::string sent(const json_writer& root) {
    safe_queue queue;
    std::string text;
    EXPECT_TRUE(send_json(queue, root));
    EXPECT_TRUE(queue.pop([&](const std::shared_ptr<buffer_info_t>& buffer) { text = buffer->text(); }));
    return text;
}

std::string repeated(const std::string& piece, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out += piece;
    return out;
}

TEST(JsonWriter, WritesTheEnvelopeAndMembersInOrder) {
    EXPECT_EQ(sent(json_writer("", "", "")), R"({"version":"2.4"})");
    EXPECT_EQ(sent(json_writer(nullptr, "c", nullptr)), R"({"version":"2.4","cmd":"c"})");
    json_writer root("rrm", "a/b", "00:11");
    root.add_int("flag", true);
    {
        json_writer list(true, root, "list");
        list.add_int("ignored", -1);
        list.add_string(nullptr, nullptr);  // takes no position
        list.add_string("ignored", "x");
        json_writer objects(true, root, "objects");
        for (const char* name : {"p", "q"}) {
            json_writer element(false, objects, "ignored");
            element.add_string("name", name);
            element.add_string("absent", nullptr);
        }
    }
    root.add_int("last", INT32_MIN);
    root.add_int(nullptr, 1);  // no name, no member
    json_writer unnamed(true, root, nullptr);
    json_writer below(false, unnamed, "x");  // of a container that is not there
    below.add_string("x", "y");
    EXPECT_EQ(sent(root), R"({"version":"2.4","service":"rrm","cmd":"a\/b","ap-mac":"00:11","flag":1,)"
                          R"("list":[-1,"x"],"objects":[{"name":"p"},{"name":"q"}],"last":-2147483648})");
    json_writer stale(true, root, "stale");
    root.add_int("then", 1);
    stale.add_int(nullptr, 2);  // complete by then
    json_writer below_stale(true, stale, nullptr);
    EXPECT_FALSE(below_stale.valid());
    EXPECT_THAT(root.text(), ::testing::EndsWith(R"(,"stale":[],"then":1})"));
    root.add_string("long", std::string(queue_limit, 'x').c_str());
    safe_queue queue;
    EXPECT_FALSE(send_json(queue, root));
}

// Its texts are those of json-c, byte for byte, and containers may be as deep as 16.
TEST(JsonWriter, WritesAsJsonC) {
    std::string all = "caf\xC3\xA9 \xF0\x9F\x93\xB6 \x7F";
    for (char c = 1; c != '\x7F'; ++c)
        all += c;
    json_writer root(false);
    root.add_string(all.c_str(), all.c_str());
    root.add_string("cut \xC3", "");
    std::vector<std::unique_ptr<json_writer>> inner;
    json_writer* last = &root;
    while (last->valid()) {
        inner.push_back(std::make_unique<json_writer>(inner.size() % 2 == 0, *last, "key"));
        last = inner.back().get();
    }
    EXPECT_EQ(inner.size(), 16u);
    json_object* read = json_tokener_parse(root.text());
    EXPECT_STREQ(json_object_to_json_string_ext(read, JSON_C_TO_STRING_PLAIN), root.text());
    EXPECT_STREQ(json_object_get_string(json_object_object_get(read, all.c_str())), all.c_str());
    EXPECT_NE(json_object_object_get(read, "cut \uFFFD"), nullptr);
    json_object_put(read);
}

TEST(Utf8, ReplacesWhatBelongsToNoSequence) {
    const std::string r = "\xEF\xBF\xBD";
    const struct {
        std::string in, out;
    } rows[] = {
        {"plain \x01\x7F", "plain \x01\x7F"},
        {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80",
         "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {"\x80|\xBF|\xFE|\xFF", r + "|" + r + "|" + r + "|" + r},
        {"\xC0\x80|\xC1\xBF", r + r + "|" + r + r},                                  // overlong
        {"\xE0\x9F\xBF|\xF0\x8F\xBF\xBF", r + r + r + "|" + r + r + r + r},          // overlong
        {"\xED\xA0\x80", r + r + r},                                                 // a surrogate
        {"\xF4\x90\x80\x80|\xF5\x80\x80\x80", r + r + r + r + "|" + r + r + r + r},  // above U+10FFFF
        {"\xE2\x82", r + r},                                                         // cut by the end
        {"\xE2\x82X\xC3\xA9", r + r + "X\xC3\xA9"},                                  // cut by another character
    };
    for (const auto& row : rows) {
        EXPECT_EQ(is_utf8(row.in.data(), row.in.size()), row.in == row.out) << row.in;
        EXPECT_EQ(replace_non_utf8(row.in.data(), row.in.size()), row.out) << row.in;
    }
    json_writer root("", "", "");
    root.add_string("ssid", "caf\xE9");
    EXPECT_EQ(sent(root), "{\"version\":\"2.4\",\"ssid\":\"caf" + r + "\"}");
}

TEST(JsonReader, ConvertsAsJsonCAndNeverFails) {
    const json_reader root(R"({"text":"12","yes":true,"real":7.9,"big":99999999999,"none":null,
        "object":{"a":1},"list":[10,null,{"x":"y"}],"empty":[]})");
    ASSERT_TRUE(root.valid());
    const struct {
        const char* key;
        int number;
        const char* text;
    } rows[] = {{"text", 12, "12"},   {"yes", 1, "true"},     {"real", 7, "7.9"},    {"big", INT32_MAX, "99999999999"},
                {"none", 0, nullptr}, {"absent", 0, nullptr}, {nullptr, 0, nullptr}, {"object", 0, R"({ "a": 1 })"},
                {"empty", 0, "[ ]"}};
    for (const auto& row : rows) {
        EXPECT_EQ(root.get_int(row.key), row.number) << (row.key ? row.key : "null");
        EXPECT_STREQ(root.get_string(row.key), row.text);
    }
    const json_reader list = root.child("list");
    EXPECT_EQ(list.size(), 3);
    EXPECT_STREQ(list.at(2).get_string("x"), "y");
    for (const int index : {-1, 1, 3, INT32_MAX, INT32_MIN})
        EXPECT_FALSE(list.at(index).valid()) << index;
    for (const char* key : {"text", "object", "absent", "empty"})
        EXPECT_EQ(root.child(key).size(), 0) << key;
    EXPECT_FALSE(root.at(0).valid());
    EXPECT_EQ(root.child("none").get_int("a") + root.child("text").get_int("a"), 0);
    for (const char* text : {static_cast<const char*>(nullptr), "", "null", "{", "{\"a\":}", "\"a", "[1"})
        EXPECT_FALSE(json_reader(text).valid()) << (text ? text : "null pointer");
}

TEST(JsonReader, BoundsWhatIsParsed) {
    const std::string most = "[" + repeated("{},", 65534) + "[]";  // 65,536 with the outer one
    EXPECT_EQ(json_reader((most + "]").c_str()).size(), 65535);
    EXPECT_FALSE(json_reader((most + ",{}]").c_str()).valid());
    EXPECT_EQ(json_reader(("[" + repeated("1,", 262144) + "1]").c_str()).size(), 262145);
    EXPECT_FALSE(json_reader(("[" + repeated("1,", 262145) + "1]").c_str()).valid());
    const std::string brackets = repeated("{[", 40000);
    for (const std::string& text : {"\"" + brackets + "\\\"" + brackets + "\"", "'" + brackets + "\\\\'"})
        EXPECT_TRUE(json_reader(("[" + text + ",1]").c_str()).valid());
    // Comments that would hide the rest from a counter that took them for strings, or ended them too soon.
    for (const char* start : {"[/*\"*/", "[/***/\"*/", "[//\"\n", "[/*'*/"}) {
        const std::string bomb = start + repeated("{},", 70000) + "1]";
        EXPECT_FALSE(json_reader(bomb.c_str()).valid()) << start;
    }
}

// Wherever the limit falls, and whatever stands around it.
TEST(JsonReader, ReadsTheBeginningOfLongStrings) {
    constexpr std::size_t limit = 1024 * 1024;
    const std::string most(limit, 'x'), more(5 * limit, 'y');
    const struct {
        std::string text;
        std::size_t length;  // of what it means
    } rows[] = {{most, limit},
                {most + "z", limit},
                {most.substr(3) + "\\u0041" + more, limit - 2},
                {most.substr(1) + "\\\\" + more, limit + 4},
                {most + "\\\"" + more, limit},
                {most.substr(5) + "\\u0041", limit - 4},
                {repeated("\\u0041", 400000), (limit + 5) / 6}};
    for (const auto& row : rows) {
        for (const char quote : {'"', '\''}) {
            const std::string text = "{'a':1," + (quote + row.text + quote) + ":2,'long':" + quote + row.text + quote +
                                     ",'b':\"\\\"'\",'last':[" + quote + row.text + quote + ",7]} and more";
            const json_reader root(text.c_str());
            ASSERT_TRUE(root.valid()) << &row - rows << quote;
            EXPECT_EQ(std::strlen(root.get_string("long")), row.length) << &row - rows << quote;
            EXPECT_STREQ(root.get_string("b"), "\"'");
            EXPECT_EQ(root.child("last").size() * 10 + root.get_int("a"), 21);
        }
    }
    for (const std::string& broken : {"['" + more, "['" + more + "\\", "[" + more + "',1]", "['" + more + "'", more})
        EXPECT_FALSE(json_reader(broken.c_str()).valid()) << broken[1];
    const std::string behind = "[/*'*/'" + more + "']";
    EXPECT_TRUE(json_reader(behind.c_str()).valid());
}

TEST(MacAddr, TextEqualityAndHash) {
    const MacAddr a{{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
    const MacAddr b{{0xAB, 0xC7, 0x08, 0x33, 0x44, 0x55}};
    EXPECT_EQ(b.to_string(), "AB:C7:08:33:44:55");
    EXPECT_EQ(mac_addr_hash()(a), 0x4163u);
    EXPECT_EQ(mac_addr_hash()(b), 0x4163u);
    EXPECT_NE(a, b);
}

}  // namespace
}  // namespace ravd

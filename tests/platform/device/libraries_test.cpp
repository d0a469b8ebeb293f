// Configuration tree, factory data, board description and log of ordinary Linux.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/ctree.h"
#include "platform/factory.h"
#include "platform/log_target.h"
#include "platform/quarn_log.h"
#include "platform/radio_description.h"
#include "tests/support/fake_system.h"

namespace ravd {
namespace {

using testing::fake_system;

std::string text_of(char* text) {
    const std::string copy = text ? text : "null";
    std::free(text);
    return copy;
}

TEST(ConfigurationTree, KeepsWhatItParsed) {
    const char* text = R"({"s":"a/b","n":12,"u":18446744073709551615,"r":1.50,"b":true,"l":[1,"x",{"y":[]}],)"
                       R"("t":{"k":"v"},"z":null})";
    ctree* tree = ctree_parse_buffer(text);
    EXPECT_EQ(text_of(ctree_serialize_compact(tree)), text);
    const struct {
        const char *name, *param;
        int type, contained;
    } rows[] = {{"s", "a/b", ctree_child_param, 1},       {"r", "1.50", ctree_child_param, 1},
                {"b", "true", ctree_child_param, 1},      {"l", nullptr, ctree_child_subtree, 1},
                {"z", nullptr, ctree_child_absent, 1},    {"absent", nullptr, ctree_child_absent, 0},
                {nullptr, nullptr, ctree_child_absent, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(ctree_get_child_type(tree, row.name), row.type);
        EXPECT_EQ(ctree_contain_param(tree, row.name), row.contained);
        EXPECT_STREQ(ctree_get_param(tree, row.name), row.param);
        EXPECT_EQ(ctree_get_subtree(tree, row.name) != nullptr, row.type == ctree_child_subtree);
    }
    EXPECT_EQ(ctree_set_param(ctree_get_subtree(tree, "l"), "x", "y"), -1);  // elements have no names
    ctree* copy = ctree_get_empty();
    EXPECT_EQ(ctree_insert_child(copy, "all", tree) + ctree_insert_child(copy, "self", copy), 0);
    EXPECT_EQ(ctree_set_param(ctree_get_subtree(tree, "t"), "k", "changed"), 0);
    ctree_release(tree);
    EXPECT_EQ(ctree_insert_child_string(copy, "self", "\"q\""), 0);
    EXPECT_EQ(text_of(ctree_serialize_compact(copy)), R"({"all":)" + std::string(text) + R"(,"self":"\"q\""})");
    EXPECT_EQ(ctree_set_param(copy, "all", "1"), 0);
    EXPECT_EQ(text_of(ctree_serialize(copy)), "{\n  \"all\": \"1\",\n  \"self\": \"\\\"q\\\"\"\n}");
    EXPECT_EQ(ctree_set_param(copy, nullptr, "b") + ctree_set_param(copy, "a", nullptr), -2);
    EXPECT_EQ(ctree_insert_child(copy, "a", nullptr), -1);
    ctree_release(copy);
}

TEST(ConfigurationTree, RefusesWhatIsNoObject) {
    std::string many = "{\"a\":[";
    for (int i = 0; i < 65535; ++i)
        many += "{},";
    many += "0]}";
    for (const char* text : {static_cast<const char*>(nullptr), "", "null", "[]", "\"a\"", "1", "{", many.c_str()})
        EXPECT_EQ(ctree_parse_buffer(text), nullptr);
    EXPECT_EQ(ctree_serialize(ctree_get_subtree(nullptr, "a")), nullptr);
    EXPECT_EQ(ctree_set_param(nullptr, "a", "b"), -1);
    // Nothing of it gets into the next one.
    EXPECT_EQ(ctree_parse_buffer(R"({"a":"\ud83d\u"})"), nullptr);
    ctree* tree = ctree_parse_buffer(R"({"a":"\u0041"})");
    EXPECT_STREQ(ctree_get_param(tree, "a"), "A");
    ctree_release(tree);
}

TEST(FactoryData, ReadsItsFileOrNothing) {
    const std::string full(32, 'S');
    const struct {
        std::string file;
        int result;
        std::string board, mac;
    } rows[] = {{"# mac=1\nmac=a\nmac=b\n\n=x\nserial=\nother=y", 0, "", "b"},
                {"board\nMAC=1", -1, "", ""},
                {std::string(4096, '\n') + "mac=behind", -1, "", ""},
                {"board=B 1\r\nhw = H\nserial=" + full + "S\nmac=00:11:22:33:44:55", 0, "B 1", "00:11:22:33:44:55"}};
    fake_system::get().reset();
    factory_data data;
    for (const auto& row : rows) {
        fake_system::get().write_file("/etc/ravd/factory", row.file);
        EXPECT_EQ(factory_data_load(&data), row.result) << row.file;
        EXPECT_EQ(data.board + ("|" + std::string(data.mac)), row.board + "|" + row.mac);
    }
    EXPECT_EQ(std::string(data.serial, 32), full);  // without a terminator
    fake_system::get().remove_file("/etc/ravd/factory");
    EXPECT_EQ(factory_data_load(&data), -1);
    EXPECT_STREQ(data.mac, "");
}

TEST(BoardDescription, TellsTheDriverByItsDirectory) {
    fake_system::get().reset();
    fake_system::get().write_file("/proc/net/rtk_wifi6/wlan1/nb_report");
    fake_system::get().write_file("/proc/net/rtk_wifi6/wlan2");
    const auto wifi6 = [](const char* name) {
        return TOVA::get_radio_description(name).driver == TOVA::radio_driver::rtk_wifi6;
    };
    EXPECT_TRUE(wifi6("wlan1"));
    for (const char* name : {"wlan0", "wlan2", "wlan", "", "wlan1/../wlan1", "../rtk_wifi6/wlan1", "wlan1 "})
        EXPECT_FALSE(wifi6(name)) << name;

    // A radio of mainline Linux has nothing of the other two.
    for (const char* name : {"wlan0", "wlan1", "wlan2"})
        fake_system::get().write_file(std::string("/sys/class/net/") + name + "/phy80211/index");
    fake_system::get().write_file("/proc/wlan2/mib_11n");
    const auto mainline = [](const char* name) {
        return TOVA::get_radio_description(name).driver == TOVA::radio_driver::nl80211;
    };
    EXPECT_TRUE(mainline("wlan0"));
    EXPECT_FALSE(mainline("wlan1") || mainline("wlan2") || mainline("../net/wlan0"));
}

class Log : public ::testing::Test {
  protected:
    Log() { quarn_log_set_daemonname("ravd"); }
    ~Log() override { log_target_set_file(""); }
    void write(int priority, const char* format, ...) __attribute__((format(printf, 3, 4))) {
        va_list arguments;
        va_start(arguments, format);
        vquarn_log_msg_timed_new(LOG_MASK(priority), format, arguments);
        va_end(arguments);
    }
    std::string text(const char* name = "/log") { return files.read_file(name); }
    fake_system& files = (fake_system::get().reset(), fake_system::get());
    const std::string path = files.root() + "/log";
};

TEST_F(Log, WritesOneStampedLineAMessage) {
    files.write_file("/log", "kept\n");
    ASSERT_TRUE(log_target_set_file(path.c_str()));
    const struct {
        int priority;
        std::string text, line;
    } rows[] = {{LOG_ERR, "a\n", "error: a"},
                {LOG_DEBUG, "b\n\n", "debug: b"},
                {LOG_WARNING, std::string(1000, 'c'), "warning: " + std::string(1000, 'c')},  // just beyond the stack
                {LOG_INFO, std::string(300000, 'd'), "info: " + std::string(262144, 'd')}};   // cut
    for (const auto& row : rows)
        write(row.priority, "%s", row.text.c_str());
    const std::string all = text();
    std::size_t at = sizeof "kept\n" - 1;
    for (const auto& row : rows) {
        at += sizeof "2000-01-01 00:00:00.000" - 1;
        const std::string rest = " ravd[" + std::to_string(getpid()) + "] " + row.line + "\n";
        EXPECT_EQ(all.compare(at, rest.size(), rest), 0) << all.substr(at, 100);
        at += rest.size();
    }
    EXPECT_EQ(at, all.size());
}

TEST_F(Log, RotatesBeforeItOutgrowsItsLimit) {
    ASSERT_TRUE(log_target_set_file(path.c_str()));
    const std::string line(100000, 'x');
    for (int i = 0; i < 25; ++i) {
        write(LOG_INFO, "%d %s", i, line.c_str());
        EXPECT_LE(text().size(), 1048576u);
    }
    EXPECT_NE(text("/log.1").find(" 10 xx"), std::string::npos);
    EXPECT_EQ(text("/log.1").find(" 9 xx"), std::string::npos);
    EXPECT_NE(text().find(" 24 xx"), std::string::npos);
    files.remove_file("/log");  // by somebody else
    write(LOG_INFO, "anew");
    EXPECT_NE(text().find("anew"), std::string::npos);
    files.remove_file("/log.1");
    files.write_file("/log.1/");  // the old name cannot be taken: the bound holds all the same
    for (int i = 0; i < 12; ++i)
        write(LOG_INFO, "%s", line.c_str());
    EXPECT_LE(text().size(), 1048576u);
}

TEST_F(Log, RefusesLinksAndSurvivesAFullDisk) {
    files.write_file("/victim", "precious");
    const std::string victim = files.root() + "/victim";
    for (int kind = 0; kind < 3; ++kind) {
        const int made = kind == 0   ? symlink(victim.c_str(), path.c_str())
                         : kind == 1 ? link(victim.c_str(), path.c_str())
                                     : mkfifo(path.c_str(), 0600);
        ASSERT_EQ(made, 0);
        EXPECT_FALSE(log_target_set_file(path.c_str())) << kind;
        files.remove_file("/log");
    }
    EXPECT_EQ(text("/victim"), "precious");
    EXPECT_FALSE(log_target_set_file(std::string(2000, 'p').c_str()));
    ASSERT_TRUE(log_target_set_file("/dev/full"));
    write(LOG_ERR, "lost\n");
}

}  // namespace
}  // namespace ravd

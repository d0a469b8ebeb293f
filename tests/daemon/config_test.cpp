#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "daemon/agent_config.h"
#include "daemon/config_judgement.h"
#include "daemon/run_flags.h"
#include "tests/core/log_capture.h"

namespace ravd {
namespace {

using namespace std::string_literals;
using testing::fake_system;

std::string describe(const link_config& link) {
    if (!link.enabled) return "-";
    return std::string(link.host) + " " + std::to_string(link.port) + " " + link.path;
}

agent_config read_options(std::vector<const char*> options) {
    options.insert(options.begin(), "ravd");
    options.push_back(nullptr);
    agent_config config;
    read_agent_config(static_cast<int>(options.size()) - 1, const_cast<char**>(options.data()), config);
    return config;
}

agent_config read_text(const std::string& text) {
    fake_system::get().write_file("/ravd.conf", text);
    return read_options({"-f", (fake_system::get().root() + "/ravd.conf").c_str()});
}

TEST(Config, ServiceUrls) {
    const char* cases[] = {"ws://server:8080/api -> server 8080 /api",
                           "h:9000/p/q?x=1:2 -> h 9000 /p/q?x=1:2",
                           "ws://h:80/p\r -> h 80 /p",
                           ":/ ->  0 /",
                           "h:x/p -> h 0 /p",
                           "h:99999999999999999999/p -> h 2147483647 /p",
                           "h/a:1/b -> h/a 1 /b",
                           "ws://server/api -> -",
                           "server:8080 -> -",
                           "WS://h:80/p -> -",
                           "://h:80/p -> -",
                           "h:1/p://x -> -"};
    for (const std::string text : cases) {
        const std::size_t arrow = text.find(" -> ");
        const agent_config config = read_text("CORVANE_service_url=" + text.substr(0, arrow) + "\n");
        EXPECT_EQ(describe(config.links[corvane_link]), text.substr(arrow + 4)) << text;
        EXPECT_EQ(describe(config.links[roam_link]), "-") << text;
    }
}

TEST(Config, Lines) {
    const std::string long_name(300, 'x');
    const struct {
        std::string text;
        const char* links;     // roaming, corvane
        std::string settings;  // location, delays, mask
    } cases[] = {
        {"", "-,-", "default-rrm-domain 0 0 0"},
        {"roam_service_url=a:1/x\ncorvane_service_url=b:2/y", "a 1 /x,b 2 /y", "default-rrm-domain 0 0 0"},
        {"roam_service_url = ws://h:1/x\n roam_service_url=h:1/x\n#\n", "-,-", "default-rrm-domain 0 0 0"},
        {"roam_service_url=a:1/x\nroam_service_url=ws://b\n", "a 1 /x,-", "default-rrm-domain 0 0 0"},
        {"ap_location=one\nroam_service_url=a:1/x\ncorvane_service_url=wss://h:4/p\nap_location=two\n", "a 1 /x,-",
         "one 0 0 0"},
        {"Ap_Location=here and there\r\nINITIAL_CONNECTION_DELAY=10s\r\nmax_connection_delay=60\r\n", "-,-",
         "here and there 10 60 0"},
        {"ap_location=\ninitial_connection_delay=-1\nmax_connection_delay=99999999999999999999999\n", "-,-",
         " 1000000 1000000 0"},
        {"log_level=0x0F", "-,-", "default-rrm-domain 0 0 15"},
        {"log_level=99999999999999999999\n", "-,-", "default-rrm-domain 0 0 4294967295"},
        // A piece of a line holds 254 bytes.
        {"ap_location=" + long_name + "\n", "-,-", std::string(242, 'x') + " 0 0 0"},
        {std::string(254, '#') + "ap_location=two\n", "-,-", "two 0 0 0"},
        {std::string(10240, 'x') + "\nap_location=after\n", "-,-", "after 0 0 0"},
        {"\0\xFF\x01log_level=8\nap_location=ok\0ko\nlog_level=1\n"s, "-,-", "ok 0 0 1"},
    };
    for (const auto& c : cases) {
        const agent_config config = read_text(c.text);
        EXPECT_EQ(describe(config.links[0]) + "," + describe(config.links[1]), c.links) << c.text;
        for (const link_config& link : config.links)
            EXPECT_EQ(std::string(link.location) + " " + std::to_string(link.initial_connection_delay) + " " +
                          std::to_string(link.max_connection_delay) + " " + std::to_string(config.log_mask),
                      c.settings)
                << c.text;
    }
}

TEST(Config, OptionsAreDefaultsThatAUrlReplaces) {
    const std::string name(300, 'n');
    fake_system::get().write_file("/one.conf", "roam_service_url=h:1/x\nlog_file=/var/log/x.log\r\n");
    const std::string path = fake_system::get().root() + "/one.conf";
    const agent_config config =
        read_options({"-P", "77", "-d", name.c_str(), "-f", "/none", "-p", name.c_str(), "-f", path.c_str()});
    EXPECT_EQ(describe(config.links[roam_link]), "h 1 /x");
    EXPECT_EQ(config.links[corvane_link].host, name.substr(0, 255));
    EXPECT_EQ(config.links[corvane_link].path, name.substr(0, 255));
    EXPECT_EQ(config.links[corvane_link].port, 77);
    EXPECT_EQ(process_log.file, "/var/log/x.log");
    process_log.file.clear();

    set_run_flags(config);
    EXPECT_TRUE(roam_bus_running && roam_link_running && !agent_running && !agent_link_running);
    EXPECT_STREQ(read_options({}).links[0].location, "");
    for (const std::string& unreadable : {"/none/such"s, fake_system::get().root()})
        EXPECT_STREQ(read_options({"-f", unreadable.c_str()}).links[0].location, "default-rrm-domain");
}

TEST(Config, RejectedSchemeIsLoggedUnlessALevelCameFirst) {
    testing::log_capture log(0);
    read_text("corvane_service_url=wss://h:443/p\n");
    EXPECT_EQ(log.count("Proto wss is invalid\n"), 1);
    read_text("log_level=7\ncorvane_service_url=wss://h:443/p\n");
    EXPECT_EQ(log.count("Proto wss is invalid\n"), 1);
}

TEST(Config, JudgesLinesThatDoNotDoWhatTheirWriterWanted) {
    const struct {
        const char* text;
        std::vector<std::string> found;  // beginnings of the findings, with their lines
        const char* plan;                // a part of it
    } cases[] = {
        {"# ws://h:1/x\n\ncorvane_service_url=h:9000/agent\r\nlog_level=0x3\nlog_file=/l\n",
         {},
         "connects to ws://h:9000/agent as an agent of the domain \"default-rrm-domain\", each time after 1 to 3 "
         "s, and logs errors, warnings to /l."},
        {"corvane_servise_url=ws://h:1/x\ncolour=blue\nfoo\n",
         {"1: unknown key \"corvane_servise_url\", so the line is ignored; did you mean corvane_service_url?",
          "2: unknown key \"colour\", so the line is ignored", "3: no \"=\""},
         "ends at once"},
        {" ap_location=x\nlog_level =1\n", {"1: blanks", "2: blanks"}, "ends at once"},
        {"corvane_service_url=ws://h/x\ncorvane_service_url=ws://h:1\ncorvane_service_url=wss://h:1/x\n",
         {"1: corvane_service_url: the URL has no port", "1: corvane_service_url stands again in line 2",
          "2: corvane_service_url: the URL has no path", "2: corvane_service_url stands again in line 3",
          "3: corvane_service_url: scheme \"wss\" is not ws"},
         "ends at once"},
        {"corvane_service_url=h:70000/x\nroam_service_url=h:1/x y\n",
         {"1: corvane_service_url: port \"70000\" is not", "1: corvane_service_url: not used",
          "2: roam_service_url: the URL contains blanks"},
         "bridges ws://h:1/x y"},
        {"initial_connection_delay=10s\nmax_connection_delay=2000000\nlog_level=debug\nlog_level=31\n",
         {"1: initial_connection_delay: \"10s\" is not", "2: max_connection_delay: \"2000000\" counts as 1000000 s",
          "3: log_level: \"debug\" is not a number", "3: log_level stands", "4: log_level: only 1, 2, 4 and 8"},
         "ends at once"},
        {"ap_location=home # mine\nlog_file= /l\n", {"1: ap_location: a comment", "2: log_file: the blanks"}, "ends"},
        {"corvane_service_url=h:1/x\ntls_server_name=s\ntls_key_file=/none\n",
         {"2: tls_server_name: no effect without", "3: tls_key_file: No such file",
          "3: tls_key_file: no effect without"},
         "domain \"default-rrm-domain\", each time"},
        {"corvane_service_url=h:1/x\ntls_ca_file=\ntls_cert_file=/dev\n",
         {"2: tls_ca_file: No such file", "3: tls_cert_file: not a regular file",
          "3: tls_cert_file: tls_cert_file and"},
         "over TLS, where it must be \"h\""},
    };
    const std::string path = fake_system::get().root() + "/judged.conf";
    process_log.mask = 5;
    for (const auto& c : cases) {
        fake_system::get().write_file("/judged.conf", c.text);
        const config_judgement judgement = judge_config_file(path.c_str());
        ASSERT_EQ(judgement.findings.size(), c.found.size()) << c.text;
        for (std::size_t i = 0; i < c.found.size(); ++i) {
            const config_finding& found = judgement.findings[i];
            EXPECT_EQ((std::to_string(found.line) + ": " + found.text).substr(0, c.found[i].size()), c.found[i]);
        }
        EXPECT_NE(judgement.plan.find(c.plan), std::string::npos) << judgement.plan;
        EXPECT_EQ(judgement.works, judgement.plan.find("ends at once") == std::string::npos);
    }
    EXPECT_EQ(process_log.mask, 5u);
    EXPECT_EQ(process_log.file, "");
    for (const std::string& unreadable : {"/none/such"s, fake_system::get().root()})
        EXPECT_EQ(judge_config_file(unreadable.c_str()).findings.at(0).line, 0);
}

}  // namespace
}  // namespace ravd

// The configuration tree, and what the network daemon does to it and to the radios.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json-c/json.h>

#include "sim/ap/config_store.h"
#include "sim/ap/network_services.h"

namespace ravd::sim {
namespace {

using testing::HasSubstr;

scenario office() {
    scenario s;
    std::string fault;
    EXPECT_TRUE(load_scenario(std::string(RAVD_SCENARIOS) + "/small-office.json", s, fault)) << fault;
    return s;
}

// An access point with its two services; each request a text, each answer one.
struct services {
    access_point ap{office()};
    event_log log{true};
    int changes = 0;
    configuration_service configuration{ap, log};
    network_daemon porterd{ap, log, [this] { ++changes; }};

    template <typename Service>
    std::string ask(Service& service, const std::string& command, const std::string& text) {
        json_object* request = json_tokener_parse(text.c_str());
        json_object* answer = service.answer(command, request);
        std::string out =
            json_object_to_json_string_ext(answer, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
        json_object_put(answer);
        json_object_put(request);
        return out;
    }
};

TEST(ConfigStore, PathsAndTrees) {
    config_store store;
    EXPECT_TRUE(store.set("/a/b/c", "1"));
    EXPECT_EQ(store.text("/a/b/c"), "1");
    EXPECT_FALSE(store.text("/a/b"));
    EXPECT_NE(store.find("/a/b"), nullptr);
    for (const char* wrong : {"", "/", "a/b", "/a//b", "/a/", "/a/b/c/d"})
        EXPECT_FALSE(store.set(wrong, "x")) << wrong;
    EXPECT_EQ(store.text("/a/b/c"), "1");
    json_object* tree = json_tokener_parse(R"({"n":7,"t":{"f":true},"none":null})");
    EXPECT_TRUE(store.set_tree("/a/b", tree));
    json_object_put(tree);
    EXPECT_EQ(store.text("/a/b/n"), "7");
    EXPECT_EQ(store.text("/a/b/t/f"), "true");
    EXPECT_EQ(store.text("/a/b/none"), "");
    EXPECT_FALSE(store.text("/a/b/c"));
    store.remove("/a/b/t");
    EXPECT_EQ(store.find("/a/b/t"), nullptr);
    store.remove("/nothing/here");
}

TEST(ConfigurationService, AnswersTextsTreesAndNothing) {
    services s;
    const auto get = [&](const std::string& text) { return s.ask(s.configuration, "get", text); };
    EXPECT_EQ(get(R"({"path":"/corvane/dca"})"), R"({"command":"get-response","status":"ok","value":"true"})");
    EXPECT_THAT(get(R"({"path":"/interface/wlan0-va0/vap/captive-portal"})"),
                HasSubstr(R"("value":{"enabled":"false"})"));
    for (const char* wrong : {R"({"path":"/nowhere"})", R"({"path":7})", "{}", "[]", "null", "not json"})
        EXPECT_EQ(get(wrong), R"({"command":"get-response","status":"error","reason":"not found"})") << wrong;
    EXPECT_THAT(s.ask(s.configuration, "set", "{}"), HasSubstr("unknown command"));
}

TEST(NetworkDaemon, RefusesWhatCannotBe) {
    const struct {
        const char* command;
        const char* request;
        const char* reason;
    } rows[] = {
        {"update-corvane", "null", "no such radio"},
        {"update-corvane", R"({"ifname":"wlan2","params":{"channel":"1"}})", "no such radio"},
        {"update-corvane", R"({"ifname":"wlan0-va0","params":{"channel":"1"}})", "no such radio"},
        {"update-corvane", R"({"ifname":"wlan0"})", "no parameters"},
        {"update-corvane", R"({"ifname":"wlan0","params":{}})", "no parameters"},
        {"update-corvane", R"({"ifname":"wlan0","params":{"ssid":"x"}})", "unknown parameter ssid"},
        {"update-corvane", R"({"ifname":"wlan0","params":{"channel":6}})", "channel is not a text"},
        {"update-corvane", R"({"ifname":"wlan0","params":{"channel":"36"}})", "channel 36 is not among"},
        {"update-corvane", R"({"ifname":"wlan0","params":{"bandwidth":"80"}})", "no width of 80 MHz"},
        {"update-corvane", R"({"ifname":"wlan0","params":{"tx-power":"21"}})", "outside the radio's limits"},
        {"update-corvane", R"({"ifname":"wlan0","params":{"channel":"1","tx-power":"x"}})",
         "outside the radio's limits"},
        {"reset-corvane", R"({"ifname":"eth0"})", "no such radio"},
        {"update-corvane-fbt", R"({"wlan0-va0":{"ft-config":{"enabled":"x"}},"wlan5-va0":{"ft-config":{}}})",
         "no such VAP: wlan5-va0"},
        {"update-corvane-fbt", R"({"command":"x","wlan0-va0":{}})", "wlan0-va0 has no ft-config"},
        {"restart", "{}", "unknown command"},
    };
    services s;
    for (const auto& row : rows) {
        const std::string answer = s.ask(s.porterd, row.command, row.request);
        EXPECT_THAT(answer, HasSubstr("\"status\":\"error\"")) << row.request;
        EXPECT_THAT(answer, HasSubstr(row.reason)) << row.request;
    }
    EXPECT_EQ(s.changes, 0);
    EXPECT_EQ(s.ap.radios[0].chanspec, 0x1006u);
    EXPECT_EQ(s.ap.config.text(radio_path("wlan0", "channel")), "6");
    EXPECT_EQ(s.ap.config.text("/interface/wlan0-va0/vap/ft-config/enabled"), "true");
}

TEST(NetworkDaemon, TellsOfChangesOnlyWhenThereAreAny) {
    services s;
    const char* const ft =
        R"({"command":"update-corvane-fbt","wlan0-va0":{"ft-config":{"enabled":"true","reassociation-deadline":1000}}})";
    EXPECT_THAT(s.ask(s.porterd, "update-corvane-fbt", ft), HasSubstr("\"ok\""));
    EXPECT_THAT(s.ask(s.porterd, "update-corvane-fbt", ft), HasSubstr("\"ok\""));
    EXPECT_EQ(s.changes, 1);
    EXPECT_EQ(s.ap.config.text("/interface/wlan0-va0/vap/ft-config/reassociation-deadline"), "1000");
    // The scenario has fast transition on for that VAP: the service's settings go, the scenario's come back.
    const char* const all = R"({"command":"reset-corvane-fbt","wlan0-va0":{},"wlan1-va6":{}})";
    s.ask(s.porterd, "reset-corvane-fbt", all);
    s.ask(s.porterd, "reset-corvane-fbt", all);
    EXPECT_EQ(s.changes, 2);
    EXPECT_TRUE(s.ap.config.is_true("/interface/wlan0-va0/vap/ft-config/enabled"));
    EXPECT_FALSE(s.ap.config.text("/interface/wlan0-va0/vap/ft-config/reassociation-deadline"));

    s.ask(s.porterd, "reset-corvane", R"({"ifname":"wlan0"})");
    EXPECT_EQ(s.changes, 2);
    s.ask(s.porterd, "update-corvane", R"({"ifname":"wlan0","params":{"channel":"1"}})");
    s.ask(s.porterd, "update-corvane", R"({"ifname":"wlan0","params":{"channel":"11","tx-power":"9"}})");
    EXPECT_EQ(s.ap.radios[0].chanspec, 0x100Bu);
    s.ask(s.porterd, "reset-corvane", R"({"ifname":"wlan0"})");
    EXPECT_EQ(s.ap.radios[0].chanspec, 0x1006u);  // back past both updates
    EXPECT_EQ(s.ap.radios[0].power, 16);
    EXPECT_EQ(s.changes, 5);
}

TEST(ClientEvents, SayWhatHostapdWould) {
    client_event event{"80211v-roam", "wlan1-va2", "06:00:00:00:00:01", "a\"b", -61, false, "06:aa:00:00:00:01"};
    EXPECT_EQ(
        client_event_text(event),
        R"({"command":"wifi-client-trap","event":{"type":"80211v-roam","dev":"wlan1-va2","mac":"06:00:00:00:00:01",)"
        R"("ssid":"a\"b","rssi":-61,"client-info":{"using-802.11v":"no"},"target-mac":"06:aa:00:00:00:01"}})");
}

}  // namespace
}  // namespace ravd::sim

// Configuration requests and getters against a bus in memory, on the virtual clock.
#include <gtest/gtest.h>

#include <functional>

#include "core/activity.h"
#include "ipc/key_holder_request.h"
#include "tests/core/log_capture.h"
#include "tests/support/fake_bus.h"

namespace ravd {
namespace {

using testing::fake_bus;
using testing::fake_system;
using testing::log_capture;
using answer = std::optional<std::string>;

struct helper final : ipc_helper {};

// As a worker's: the gap between two readings of its clock must not reach the watchdog's 10 s.
struct watched final : activity {
    void tick() override {
        EXPECT_LT(fake_system::get().now_s() - last, 10);
        last = fake_system::get().now_s();
    }
    bool cancelled() const override { return stopped; }
    double last = fake_system::get().now_s();
    bool stopped = false;
};

class Requests : public ::testing::Test {
  protected:
    Requests() {
        fake_system::get().reset();
        bus.reset();
    }
    fake_bus& bus = fake_bus::get();
    helper requests;
    key_holder_request holders{requests};
};

const param_list channel = {{"auto-channel", "false"}, {"channel", "36"}};

TEST_F(Requests, JudgeAnswersByTheirStatus) {
    const std::string head = R"("command":")";
    const struct {
        const char* members;  // of the answer, beside "command"; null: there is none
        const char* reason;   // as logged
        bool ok;
    } rows[] = {{R"(,"status":"ok")", "", true},
                {R"(,"status":"busy","reason":"later")", "later", false},
                {R"(,"status":"OK")", "invalid response", false},
                {R"(,"status":["ok"],"reason":{})", "invalid response", false},
                {"", "invalid response", false},
                {nullptr, nullptr, false}};
    for (const auto& row : rows) {
        bus.on_request = [&](int, const std::string& text) {
            const std::string command = text.substr(12, text.find('"', 12) - 12);
            return answer(row.members ? "{" + head + command + "-response\"" + row.members + "}" : "");
        };
        const struct {
            std::function<int()> call;
            std::string failed, silent;  // log lines
            bool counts;                 // any answer is a success
        } calls[] = {{[&] { return requests.update_corvane("wlan0", channel); }, "Error: ifname (wlan0) reason (",
                      "Error: no response (update_corvane)\n", false},
                     {[&] { return requests.reset_corvane_params("wlan1"); }, "Error: ifname (wlan1) reason (",
                      "Error: no response\n", false},
                     {[&] { return holders.reset(2); }, "Error: fail reset-corvane-fbt: reason (",
                      "Error: no response (__reset_corvane_fbt)\n", true},
                     {[&] { return holders.begin(), holders.finish(); },
                      "Error: can't apply update-corvane-fbt-response reason (",
                      "Error: no response (finish_corvane_fbt_params)\n", true}};
        for (const auto& c : calls) {
            const log_capture log(log_error_bit);
            EXPECT_EQ(c.call(), row.ok || (row.members && c.counts) ? 0 : -1) << c.silent;
            EXPECT_EQ(log.count(row.members ? c.failed + row.reason + ")\n" : c.silent), row.ok ? 0 : 1) << c.silent;
            EXPECT_EQ(bus.sent.back().destination, 6);
        }
    }
    EXPECT_EQ(bus.sent[0].text,
              R"({"command":"update-corvane","ifname":"wlan0","params":{"auto-channel":"false","channel":"36"}})");
    EXPECT_EQ(bus.sent[1].text, R"({"command":"reset-corvane","ifname":"wlan1"})");
}

TEST_F(Requests, ReadValuesOfEveryKind) {
    const struct {
        std::string answer;
        int result;
        std::string value;
    } rows[] = {{R"({"command":"get-response","value":"text","status":"error"})", 0, "text"},
                {R"({"command":"get-response","value":7})", 0, "7"},
                {R"({"command":"get-response","value":{"a":{"b":1}}})", 0, "{\n  \"a\": {\n    \"b\": 1\n  }\n}"},
                {R"({"command":"get-response","value":null})", -1, "unchanged"},
                {R"({"command":"update-corvane-response","value":"x"})", -1, "unchanged"},
                {"garbage", -1, "unchanged"}};
    for (const auto& row : rows) {
        const log_capture log(log_error_bit);
        bus.on_request = [&](int, const std::string&) { return answer(row.answer); };
        std::string value = "unchanged";
        EXPECT_EQ(requests.getconf("/p", value), row.result) << row.answer;
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(log.count("Error: path (/p) reason (not found)\n"), row.result ? 1 : 0);
    }
    EXPECT_EQ(bus.sent[0].text, R"({"command":"get","path":"/p"})");
    EXPECT_EQ(bus.sent[0].source * 100 + bus.sent[0].destination, 2801);
}

TEST_F(Requests, BuildTheFastTransitionMessages) {
    holders.add("wlan0-va0", "{}");  // nothing begun: nothing added
    holders.begin();
    holders.add("dropped", "{}");
    holders.begin();
    holders.add("wlan0-va0", R"({"deadline":1000,"r0kh":[{"mac":"m"}]})");
    holders.add("wlan0-va1", "not a tree");
    const log_capture log(log_debug_bit);
    EXPECT_EQ(holders.finish(), 0);
    EXPECT_EQ(bus.sent.back().text,
              R"({"command":"update-corvane-fbt","wlan0-va0":{"deadline":1000,"r0kh":[{"mac":"m"}]}})");
    EXPECT_EQ(holders.reset(0), 0);
    std::string vaps;
    for (const std::string radio : {"wlan0", "wlan1"})
        for (int vap = 0; vap < 7; ++vap)
            vaps += ",\"" + radio + "-va" + std::to_string(vap) + "\":{}";
    EXPECT_EQ(bus.sent.back().text, R"({"command":"reset-corvane-fbt")" + vaps + "}");
    for (const char* line : {"Try to send update-corvane-fbt to porterd\n", "debug: set_corvane_fbt_params: {\n",
                             "debug: __reset_corvane_fbt\n", "reset_corvane_fbt_params: {\n"})
        EXPECT_EQ(log.count(line), 1) << line;
}

TEST_F(Requests, GettersReadTheirPaths) {
    const std::string vap = "/interface/wlan1-vap2/vap";
    const struct {
        const char *mode, *value;
        bool wpa23, is_1x, on;
    } rows[] = {{"WPA_WPA2_PSK", "true", false, false, true},
                {"WPA2_PSK", "TRUE", true, false, false},
                {"WPA3_SAE", "true", true, false, true},
                {"WPA2_1X", "true ", true, true, false},
                {"OPEN", "true", false, false, true}};
    for (const auto& row : rows) {
        bus.configuration = {{vap + "/ap-security/mode", row.mode},
                             {vap + "/ft-config/enabled", row.value},
                             {vap + "/captive-portal/enabled", row.value},
                             {vap + "/w80211kv-config/enabled", row.value},
                             {"/interface/wlan0-wds6/common/enabled", row.value}};
        EXPECT_EQ(requests.is_wpa2_wpa3(1, 2), row.wpa23) << row.mode;
        EXPECT_EQ(requests.is_8021x(1, 2), row.is_1x) << row.mode;
        EXPECT_EQ(requests.is_ft_enabled(1, 2), row.wpa23 && row.on) << row.mode;
        EXPECT_EQ(requests.is_captive_portal_enabled(1, 2), row.on) << row.value;
        EXPECT_EQ(requests.is_80211kv_enabled(1, 2), row.on) << row.value;
        bus.sent.clear();
        EXPECT_EQ(requests.get_wds_enabled("wlan0"), row.on) << row.value;
        EXPECT_EQ(bus.sent.size(), row.on ? 7u : 8u);
    }
    bus.configuration = {{"/interface/wlan0/wlan/radio/country", "SE"}};
    EXPECT_EQ(requests.get_country("wlan0"), "SE");
    const log_capture log(log_debug_bit);
    EXPECT_EQ(requests.get_country(std::string(60, 'w').c_str()), "RU");
    EXPECT_EQ(log.count("getconf '/interface/" + std::string(52, 'w') + "'\n"), 1);
}

TEST_F(Requests, OutliveAHungServiceAndStopWhenCancelled) {
    watched worker;
    requests.set_activity(&worker);
    // A service that hangs costs two waits, then one every 10 s; its neighbour answers meanwhile.
    bus.on_request = [](int module, const std::string&) { return module == 1 ? answer("") : std::nullopt; };
    const double start = fake_system::get().now_s();
    for (const double waited : {4, 16}) {
        EXPECT_EQ(requests.get_country("wlan0"), "RU");
        for (int vap = 0; vap < 7; ++vap)
            EXPECT_FALSE(requests.is_ft_enabled(0, vap));
        EXPECT_EQ(requests.reset_corvane_params("wlan0"), 0);
        EXPECT_EQ(fake_system::get().now_s() - start, waited);
        fake_system::get().advance_ms(5000);
        worker.tick();
        fake_system::get().advance_ms(5000);
    }
    bus.on_request = nullptr;
    bus.configuration["/interface/wlan0/wlan/radio/country"] = "DE";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(requests.get_country("wlan0"), "DE");
    bus.absent[1] = true;
    EXPECT_EQ(requests.get_country("wlan0"), "RU");
    EXPECT_EQ(fake_system::get().now_s() - start, 26);
    bus.reset();
    bus.on_request = [&](int, const std::string&) {
        worker.stopped = bus.sent.size() == 3;
        return std::nullopt;
    };
    EXPECT_FALSE(requests.get_wds_enabled("wlan0"));
    EXPECT_EQ(requests.reset_corvane_params("wlan0"), -1);
    EXPECT_EQ(bus.sent.size(), 3u);
}

TEST_F(Requests, RegisterLateAndRefuseWhatIsEmpty) {
    std::string value;
    EXPECT_EQ(requests.getconf("", value) + requests.update_corvane("", channel) +
                  requests.update_corvane("wlan0", {}) + requests.reset_corvane_params(""),
              -4);
    EXPECT_EQ(holders.reset(1), 0);
    EXPECT_EQ(bus.endpoints(), 0);
    bus.refuse_init = true;
    EXPECT_EQ(requests.reset_corvane_params("wlan0"), -1);
    bus.refuse_init = false;
    EXPECT_EQ(requests.reset_corvane_params("wlan0"), 0);
    EXPECT_EQ(bus.sent.size(), 1u);
}

}  // namespace
}  // namespace ravd

// Configuration requests and getters against a bus in memory, on the virtual clock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "core/worker.h"
#include "ipc/ipc_helper.h"
#include "tests/core/log_capture.h"
#include "tests/support/fake_bus.h"

namespace ravd {
namespace {

using ::testing::AllOf;
using testing::fake_bus;
using testing::fake_system;
using ::testing::HasSubstr;
using testing::log_capture;
using answer = std::optional<std::string>;

class helper : public ipc_helper {
  public:
    using ipc_helper::add_to_fbt_request, ipc_helper::begin_fbt_request, ipc_helper::send_fbt_request,
        ipc_helper::send_reset_corvane_fbt;
};

// Lends its clock and its run flag; more than 10 s between two readings of that clock end the test's process.
class idle_worker final : public abstract_worker {
  public:
    idle_worker() : abstract_worker(&flag, "idle", 0, 0) {}
    bool init() override { return true; }
    bool process() override { return true; }
    void deinit() override {}
    bool is_alive(const run_flag*) override { return false; }
    run_flag flag{true};
};

class Requests : public ::testing::Test {
  protected:
    Requests() {
        fake_system::get().reset();
        bus.reset();
    }
    ~Requests() override {
        EXPECT_EQ(bus.endpoints(), 1);
        bus.reset();
    }
    void every_answer(const std::string& text) {
        bus.on_request = [text](int, const std::string&) { return answer(text); };
    }

    fake_bus& bus = fake_bus::get();
    helper requests;
};

const param_list channel = {{"auto-channel", "false"}, {"channel", "36"}};

TEST_F(Requests, JudgesAnswersByTheirStatus) {
    const struct {
        const char* answer;  // without "command"
        const char* reason;  // null: no answer counted
        bool ok;
    } rows[] = {{R"(,"status":"ok")", "", true},
                {R"(,"status":"busy","reason":"later")", "(later)", false},
                {R"(,"status":"OK")", "(invalid response)", false},
                {"", "(invalid response)", false},
                {R"(,"status":["ok"],"reason":{})", "(invalid response)", false},
                {nullptr, nullptr, false}};
    for (const auto& row : rows) {
        bus.on_request = [&](int destination, const std::string& text) {
            EXPECT_EQ(destination, 6);
            const std::string command = text.substr(12, text.find('"', 12) - 12);
            return answer(row.answer ? R"({"command":")" + command + "-response\"" + row.answer + "}" : "");
        };
        const log_capture log(log_error_bit);
        EXPECT_EQ(requests.update_corvane("wlan0", channel), row.ok ? 0 : -1);
        EXPECT_EQ(log.count(row.reason ? std::string("Error: ifname (wlan0) reason ") + row.reason
                                       : "Error: no response (update_corvane)\n"),
                  row.ok ? 0 : 1);
        EXPECT_EQ(requests.reset_corvane_params("wlan1"), row.ok ? 0 : -1);
        EXPECT_EQ(
            log.count(row.reason ? std::string("Error: ifname (wlan1) reason ") + row.reason : "Error: no response\n"),
            row.ok ? 0 : 1);
        EXPECT_EQ(requests.send_reset_corvane_fbt(2), row.reason ? 0 : -1);
        EXPECT_EQ(log.count(row.reason ? std::string("Error: fail reset-corvane-fbt: reason ") + row.reason
                                       : "Error: no response (__reset_corvane_fbt)\n"),
                  row.ok ? 0 : 1);
        requests.begin_fbt_request();
        EXPECT_EQ(requests.send_fbt_request(), row.reason ? 0 : -1);
        EXPECT_EQ(
            log.count(row.reason ? std::string("Error: can't apply update-corvane-fbt-response reason ") + row.reason
                                 : "Error: no response (finish_corvane_fbt_params)\n"),
            row.ok ? 0 : 1);
    }
    EXPECT_EQ(bus.sent.front().text,
              R"({"command":"update-corvane","ifname":"wlan0","params":{"auto-channel":"false","channel":"36"}})");
    EXPECT_EQ(bus.sent[1].text, R"({"command":"reset-corvane","ifname":"wlan1"})");
    EXPECT_EQ(bus.sent.front().source, 28);
}

TEST_F(Requests, RefuseWhatIsEmptyWithoutSending) {
    requests.open_bus();
    std::string value;
    EXPECT_EQ(requests.getconf("", value), -1);
    EXPECT_EQ(requests.update_corvane("", channel), -1);
    EXPECT_EQ(requests.update_corvane("wlan0", {}), -1);
    EXPECT_EQ(requests.reset_corvane_params(""), -1);
    EXPECT_EQ(requests.send_reset_corvane_fbt(1), 0);
    EXPECT_TRUE(bus.sent.empty());
}

TEST_F(Requests, ReadValuesOfEveryKind) {
    const struct {
        const char* answer;
        int result;
        std::string value;
    } rows[] = {{R"("value":"text","status":"error")", 0, "text"},
                {R"("value":"")", 0, ""},
                {R"("value":7)", 0, "7"},
                {R"("value":{"a":{"b":1}})", 0, "{\n  \"a\": {\n    \"b\": 1\n  }\n}"},
                {R"("value":["x"])", 0, "[\n  \"x\"\n]"},
                {R"("value":null)", -1, "unchanged"},
                {R"("status":"ok")", -1, "unchanged"}};
    for (const auto& row : rows) {
        const log_capture log(log_error_bit);
        every_answer(std::string(R"({"command":"get-response",)") + row.answer + "}");
        std::string value = "unchanged";
        EXPECT_EQ(requests.getconf("/p", value), row.result) << row.answer;
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(log.count("Error: path (/p) reason (not found)\n"), row.result ? 1 : 0);
    }
    EXPECT_EQ(bus.sent.front().text, R"({"command":"get","path":"/p"})");
    EXPECT_EQ(bus.sent.front().destination, 1);
    for (const char* other : {"garbage", "[]", R"({"command":"update-corvane-response","value":"x"})", "{}"}) {
        every_answer(other);
        std::string value;
        EXPECT_EQ(requests.getconf("/p", value), -1) << other;
    }
}

TEST_F(Requests, BuildTheFastTransitionMessages) {
    requests.add_to_fbt_request("wlan0-va0", "{}");  // nothing begun: nothing added
    requests.begin_fbt_request();
    requests.add_to_fbt_request("dropped", "{}");
    requests.begin_fbt_request();
    requests.add_to_fbt_request("wlan0-va0", R"({"deadline":1000,"r0kh":[{"mac":"m"}]})");
    requests.add_to_fbt_request("wlan0-va1", "not a tree");
    const log_capture log(log_debug_bit);
    EXPECT_EQ(requests.send_fbt_request(), 0);
    EXPECT_EQ(bus.sent.back().text,
              R"({"command":"update-corvane-fbt","wlan0-va0":{"deadline":1000,"r0kh":[{"mac":"m"}]}})");
    EXPECT_EQ(requests.send_reset_corvane_fbt(0), 0);
    EXPECT_THAT(bus.sent.back().text,
                AllOf(HasSubstr(R"("reset-corvane-fbt","wlan0-va0":{},"wlan0-va1":{},)"),
                      HasSubstr(R"("wlan0-va6":{},"wlan1-va0":{})"), HasSubstr(R"("wlan1-va6":{}})")));
    for (const char* line :
         {"Try to send update-corvane-fbt to porterd\n", "debug: set_corvane_fbt_params: {\n",
          "Successfully received update-corvane-fbt-response from porterd\n", "debug: __reset_corvane_fbt\n",
          "Try to send reset-corvane-fbt to porterd\n", "reset_corvane_fbt_params: {\n",
          "Successfully received reset-corvane-fbt-response from porterd\n"})
        EXPECT_EQ(log.count(line), 1) << line;
}

TEST_F(Requests, GettersReadTheirPaths) {
    const std::string vap = "/interface/wlan1-vap2/vap";
    const struct {
        const char* mode;
        bool wpa23, is_1x;
    } modes[] = {{"WPA_WPA2_PSK", false, false}, {"WPA2_PSK", true, false}, {"WPA3_SAE", true, false},
                 {"WPA2_1X", true, true},        {"OPEN", false, false},    {"", false, false}};
    for (const auto& row : modes) {
        bus.configuration = {{vap + "/ap-security/mode", row.mode}, {vap + "/ft-config/enabled", "true"}};
        EXPECT_EQ(requests.is_wpa2_wpa3(1, 2), row.wpa23) << row.mode;
        EXPECT_EQ(requests.is_8021x(1, 2), row.is_1x) << row.mode;
        EXPECT_EQ(requests.is_ft_enabled(1, 2), row.wpa23) << row.mode;
    }
    for (const char* value : {"true", "TRUE", "true ", "false"}) {
        const bool on = value == std::string("true");
        bus.configuration = {{vap + "/captive-portal/enabled", value},
                             {vap + "/w80211kv-config/enabled", value},
                             {vap + "/ft-config/enabled", value},
                             {vap + "/ap-security/mode", "WPA2"},
                             {"/interface/wlan0-wds6/common/enabled", value}};
        EXPECT_EQ(requests.is_captive_portal_enabled(1, 2), on) << value;
        EXPECT_EQ(requests.is_80211kv_enabled(1, 2), on) << value;
        EXPECT_EQ(requests.is_ft_enabled(1, 2), on) << value;
        bus.sent.clear();
        EXPECT_EQ(requests.get_wds_enabled("wlan0"), on) << value;
        EXPECT_EQ(bus.sent.size(), on ? 7u : 8u);
    }
    bus.configuration = {{"/interface/wlan0/wlan/radio/country", "SE"}};
    EXPECT_EQ(requests.get_country("wlan0"), "SE");
    EXPECT_EQ(requests.get_country("wlan1"), "RU");
    const log_capture log(log_debug_bit);
    EXPECT_EQ(requests.get_country(std::string(60, 'w').c_str()), "RU");
    EXPECT_EQ(log.count("getconf '/interface/" + std::string(52, 'w') + "'\n"), 1);
}

TEST_F(Requests, OutliveAHungServiceAndAnAbsentOne) {
    idle_worker worker;
    requests.set_activity(&worker.progress());
    every_answer("");
    const double start = fake_system::get().now_s();
    EXPECT_EQ(requests.get_country("wlan0"), "RU");
    EXPECT_FALSE(requests.get_wds_enabled("wlan0"));
    for (int vap = 0; vap < 5; ++vap)
        EXPECT_FALSE(requests.is_ft_enabled(0, vap));
    EXPECT_EQ(fake_system::get().now_s() - start, 28);  // 14 waits, and the watchdog never bit
    bus.absent[1] = true;
    EXPECT_EQ(requests.get_country("wlan0"), "RU");
    EXPECT_EQ(fake_system::get().now_s() - start, 28);
    bus.absent.clear();
    bus.on_request = nullptr;
    bus.configuration = {{"/interface/wlan0/wlan/radio/country", "SE"}};
    EXPECT_EQ(requests.get_country("wlan0"), "SE");
    requests.set_activity(nullptr);
}

TEST_F(Requests, StopAtOnceWhenCancelled) {
    idle_worker worker;
    requests.set_activity(&worker.progress());
    bus.on_request = [&](int, const std::string&) {
        if (bus.sent.size() == 3) worker.flag = false;
        return answer("");
    };
    EXPECT_FALSE(requests.get_wds_enabled("wlan0"));
    EXPECT_EQ(bus.sent.size(), 3u);
    const log_capture log(log_error_bit);
    EXPECT_EQ(requests.update_corvane("wlan0", channel), -1);
    EXPECT_EQ(log.count("Error: no response (update_corvane)\n"), 1);
    requests.set_activity(nullptr);
}

TEST_F(Requests, RegisterAgainWhenTheBusWasAway) {
    bus.refuse_init = true;
    EXPECT_FALSE(requests.open_bus());
    EXPECT_EQ(requests.reset_corvane_params("wlan0"), -1);
    EXPECT_TRUE(bus.sent.empty());
    bus.refuse_init = false;
    EXPECT_EQ(requests.reset_corvane_params("wlan0"), 0);
}

}  // namespace
}  // namespace ravd

// hostapd watch, subscription, deferring: both state machines row by row, then random stories against a model.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "tests/core/log_capture.h"
#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

using lifecycle = agent;

TEST_F(lifecycle, hostapd_watch) {
    log_capture log(log_debug_bit);
    pass(2);
    EXPECT_FALSE(ready);  // no pid file
    system.write_file(pid_file);
    turn();
    EXPECT_EQ(log.count("Connected to hostapd\n"), 1);
    system.remove_file(pid_file);
    turn();  // gone before it was announced
    EXPECT_FALSE(ready);
    EXPECT_EQ(log.count("Hostapd is not init and scoutd is not sentry mode\n"), 1);
    system.write_file(pid_file);
    system.write_file(notify_file + "_hostapd_started");
    pass(2);  // not looked at without the common notification
    EXPECT_TRUE(system.has_file(notify_file + "_hostapd_started"));
    EXPECT_EQ(driver.take_calls(), "");
    system.write_file(notify_file + "_scoutd_started");
    notify("_timezone_changed");
    turn();
    EXPECT_EQ(driver.take_calls(), "set_hostapd 1; reset_context; init_context; stop_all");
    for (const char* gone : {"", "_hostapd_started", "_scoutd_started", "_timezone_changed"})
        EXPECT_FALSE(system.has_file(notify_file + gone)) << gone;

    system.remove_file(pid_file);
    pass(1);  // restart wait
    EXPECT_EQ(driver.take_calls(), "set_hostapd 0; reset_context");
    pass(30);
    system.write_file(pid_file);
    pass(40);  // back before the limit
    EXPECT_EQ(log.count("Hostapd has not restarted\n"), 0);
    start_hostapd();
    system.remove_file(pid_file);
    pass(61);  // stopped in the first of these seconds: 60 s are still waiting
    EXPECT_TRUE(ready);
    driver.calls.clear();
    pass(1);
    EXPECT_FALSE(ready);
    EXPECT_EQ(log.count("Hostapd has not restarted\n"), 1);
    EXPECT_EQ(driver.take_calls(), "");  // it was told already
}

TEST_F(lifecycle, subscription_table) {
    struct row {
        const char* story;
        const char* sent;
        bool subscribing, subscribed;
        std::vector<long long> due;  // of the subscribe timer
    };
    const std::map<char, std::string> messages{
        {'U', link_up},
        {'D', link_down},
        {'A', rrm + "subscribe-response','status':'success'}"},
        {'B', rrm + "subscribe-response','status':'busy','code':503}"},
        {'R', rrm + "subscribe-response','status':'refused','code':500}"},
        {'N', rrm + "subscribe-response','code':503}"},  // no status
    };
    for (const row& r : std::initializer_list<row>{
             {"U", "", true, false, {}},
             {"UH", "subscribe-request ", true, false, {30}},  // H: hostapd starts
             {"HUN", "subscribe-request ", true, false, {30}},
             {"HUB", "subscribe-request ", true, false, {60}},
             {"HUBBB", "subscribe-request ", true, false, {120}},
             {"HUR", "subscribe-request ", false, false, {}},
             {"HUA", "subscribe-request ", false, true, {}},
             {"HUAH", "subscribe-request rrm-config-changed ", false, true, {}},
             {"HUAD", "subscribe-request ", false, false, {}},
             {"HU", "subscribe-request ", true, false, {30}},
         }) {
        SCOPED_TRACE(r.story);
        restart();
        system.write_file(pid_file);
        turn();
        for (const char* event = r.story; *event; ++event) {
            if (*event == 'H')
                start_hostapd();
            else
                service(messages.at(*event));
            EXPECT_EQ(system.has_file(marker), subscribed());
        }
        EXPECT_EQ(sent_names(), r.sent);
        EXPECT_EQ(subscribing(), r.subscribing);
        EXPECT_EQ(subscribed(), r.subscribed);
        EXPECT_EQ(due(2), r.due);
    }
    for (const int wait : {30, 60, 120, 120}) {  // while nobody answers
        pass(wait - 1);
        EXPECT_EQ(sent_names(), "");
        pass(1);
        EXPECT_EQ(sent_names(), "subscribe-request ");
    }
}

TEST_F(lifecycle, stops_drops_and_ends) {
    subscribe("{'use-80211v':1,'use-80211r':1}");
    driver.at(0).vaps[1].kv = true;
    const std::string kv = "del_neighbors wlan0-va1; del_neighbors wlan1-va1; ";
    notify("_config_updated");
    start_hostapd();  // both notifications: one message
    EXPECT_EQ(sent_names(), "rrm-config-changed ");
    notify("_config_updated");
    turn();
    EXPECT_EQ(sent_names(), "rrm-config-changed ");
    for (int id = 0; id < 7; ++id)
        rrm_test_access::arm(*worker, id, 50);
    system.remove_file(pid_file);
    turn();
    EXPECT_EQ(sent(),
              rrm +
                  "rrm-disassoc-all-clients','ap-mac':'02:00:00:00:00:10','domain':'home','factory':{'board':"
                  "'board-1','hw':'hw-2','serial':'77777777777777777777777777777777','mac':'02:00:00:00:00:10'}}\n");
    for (int id = 0; id < 7; ++id)
        EXPECT_TRUE(due(id).empty()) << id;

    start_hostapd();
    driver.calls.clear();
    service(link_down);
    EXPECT_EQ(driver.take_calls(), kv + "reset_corvane 0; fbt reset 2; stop_all");
    subscribe("{'use-80211r':1}");
    system.remove_file(pid_file);
    pass(61);
    driver.calls.clear();
    pass(1);  // given up while subscribed
    EXPECT_EQ(driver.take_calls(), kv + "stop_all; reset_corvane 0; fbt reset 0");

    start_hostapd();
    driver.calls.clear();
    running = false;
    turn();
    EXPECT_EQ(driver.take_calls(), kv + "stop_all; reset_corvane 1; fbt reset 1; set_hostapd 0; reset_context");
    worker.reset();
    EXPECT_EQ(driver.take_calls(), kv + "stop_all; reset_context");
    EXPECT_FALSE(system.has_file(marker));
}

TEST_F(lifecycle, messages_wait_for_a_scan) {
    subscribe();
    command("rrm-update", ",'quarn-rrm-scanning':1");
    command("rrm-request-mode");
    command("rrm-update");
    service("{'service':'rrm'}");  // no version: not looked at while a scan runs
    pass(4);
    EXPECT_EQ(sent_names(), "rrm-response rrm-mode-response ");
    turn();
    EXPECT_TRUE(driver.scanning);  // the deferred order
    command("rrm-request-mode");
    service(link_down);
    EXPECT_FALSE(driver.scanning);
    pass(30);
    EXPECT_EQ(sent_names(), "");  // nor the deferred message
    service(link_up);
    command("rrm-update");  // before the subscription: its scan must not outlive the link either
    service(link_down);
    EXPECT_FALSE(driver.scanning);
    service(link_up);
    command("rrm-update");
    system.remove_file(pid_file);  // the driver stops nothing before hostapd is back
    turn();
    command("rrm-request-mode");
    EXPECT_TRUE(driver.scanning);
    sent();
    start_hostapd();
    turn();
    EXPECT_EQ(sent_names(), "subscribe-request rrm-mode-response ");
}

TEST_F(lifecycle, notification_files_of_other_kinds) {
    subscribe();
    // Directories cannot be removed: they do not count, on no turn.
    system.write_file(notify_file + "_hostapd_started/");
    notify("");
    pass(3);
    system.write_file(notify_file + "/");
    system.write_file(notify_file + "_config_updated");
    pass(3);
    EXPECT_EQ(driver.take_calls() + sent_names(), "");
    // Links are removed or replaced, what they point to stays.
    const std::string root = system.root();
    system.write_file("/target", "kept");
    for (const std::string& path : {notify_file, notify_file + "_config_updated", marker}) {
        remove((root + path).c_str());
        ASSERT_EQ(symlink((root + "/target").c_str(), (root + path).c_str()), 0);
    }
    turn();
    EXPECT_EQ(sent_names(), "rrm-config-changed ");
    command("subscribe-response", ",'status':'success'");
    EXPECT_EQ(system.read_file("/target"), "kept");
    struct stat info;
    ASSERT_EQ(lstat((root + marker).c_str(), &info), 0);
    EXPECT_TRUE(S_ISREG(info.st_mode) && info.st_size == 0);
    service(link_down);
    system.write_file(marker + "/");  // left alone
    command("subscribe-response", ",'status':'success'");
    EXPECT_TRUE(subscribed());
}

// The model knows only what messages and files say. Whatever may have to wait for a scan carries a number that its
// handling shows: once, unless the link dropped before. RAVD_SEED repeats one story.
TEST_F(lifecycle, random_stories) {
    const char* chosen = std::getenv("RAVD_SEED");
    const unsigned first = chosen ? static_cast<unsigned>(std::strtoul(chosen, nullptr, 10)) : 1;
    for (unsigned seed = first; seed < first + (chosen ? 1 : 60) && !HasFailure(); ++seed) {
        SCOPED_TRACE("RAVD_SEED=" + std::to_string(seed));
        std::mt19937 random(seed);
        const auto pick = [&](unsigned n) { return static_cast<int>(random() % n); };
        bool link = false, is_subscribed = false, is_subscribing = false;
        std::vector<int> wanted, handled;  // by number: how often
        std::set<int> successes;
        const auto numbered = [&](const std::string& cmd, const std::string& before, const std::string& after) {
            const std::string number = std::to_string(wanted.size());
            wanted.push_back(1);
            handled.push_back(0);
            command(cmd,
                    before + "'802dot11k':[{'neighbour-mac':'n','vaps':[{'ssid':'','mac':'" + number + "'}]}]" + after);
        };
        const auto look = [&] {
            for (const std::string& call : driver.calls) {
                if (call.rfind("add_neighbor ", 0) != 0) continue;
                const int number = std::atoi(call.c_str() + 13);
                ++handled[static_cast<std::size_t>(number)];
                if (successes.count(number) == 0) continue;
                is_subscribed = true;
                is_subscribing = false;
            }
            driver.calls.clear();
            sent();
        };
        restart();
        for (int step = 0; step < 250; ++step) {
            const bool taken = ready && system.has_file(pid_file);  // a message now is taken in its turn
            switch (pick(14)) {
                case 0:
                    if (!taken) break;
                    link = is_subscribing = true;
                    service(link_up);
                    break;
                case 1:
                    if (!taken || pick(3)) break;
                    service(link_down);
                    link = is_subscribed = is_subscribing = false;
                    wanted = handled;
                    break;
                case 2:
                    if (!taken || !link) break;
                    successes.insert(static_cast<int>(wanted.size()));
                    numbered("subscribe-response", ",'status':'success','config':{", "}");
                    break;
                case 3:
                    if (!taken || !link || driver.scanning) break;
                    is_subscribing = pick(2);
                    command("subscribe-response", is_subscribing ? ",'status':'no','code':503" : ",'status':'no'");
                    break;
                case 4:
                    start_hostapd();
                    break;
                case 5:
                    system.remove_file(pid_file);
                    break;
                case 6:
                    system.write_file(pid_file);
                    if (pick(4) == 0) notify("_hostapd_started");
                    break;
                case 7:
                    driver.events.push_back({driver_event_desc::config_changed, 0, nullptr});
                    break;
                case 8:
                case 9:
                    if (!taken || !link) break;
                    command("rrm-update", ",'rrm-scan-delay':" + std::to_string(pick(4)) +
                                              ",'quarn-rrm-scanning':" + std::to_string(pick(2)));
                    break;
                case 10:
                case 11:
                    if (taken && link) numbered("rrm-sta-overload", ",", "");
                    break;
                default:
                    pass(pick(4) ? pick(4) : pick(70));
            }
            look();
            for (const int id : {0, 1, 2, 4, 5, 6})
                ASSERT_LE(due(id).size(), 1u) << id;
            ASSERT_TRUE(!driver.hostapd || subscribing() == (due(2).size() == 1));
            ASSERT_EQ(subscribed(), is_subscribed);
            ASSERT_EQ(subscribing(), is_subscribing);
            ASSERT_EQ(system.has_file(marker), is_subscribed);
        }
        start_hostapd();
        pass(400);  // all scans have ended
        look();
        EXPECT_EQ(handled, wanted);
    }
}

}  // namespace
}  // namespace ravd::testing

// hostapd watch, subscription, deferring: both state machines row by row, then random stories against a model.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

#include "tests/core/log_capture.h"
#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

using lifecycle = agent;

TEST_F(lifecycle, hostapd_watch) {
    log_capture log(log_debug_bit);
    pass(2);
    EXPECT_FALSE(ready);  // waiting: no pid file
    system.write_file(pid_file);
    turn();
    EXPECT_TRUE(ready);
    EXPECT_EQ(log.count("Connected to hostapd\n"), 1);
    system.write_file("/tmp/.corvane_notify_hostapd_started");
    pass(2);  // not looked at without the common notification
    EXPECT_TRUE(system.has_file("/tmp/.corvane_notify_hostapd_started"));
    EXPECT_EQ(driver.take_calls(), "");
    system.write_file("/tmp/.corvane_notify_scoutd_started");
    notify("timezone_changed");
    turn();
    EXPECT_EQ(driver.take_calls(), "set_hostapd 1; reset_context; init_context; stop_all");
    for (const char* gone : {"", "_hostapd_started", "_scoutd_started", "_timezone_changed"})
        EXPECT_FALSE(system.has_file(std::string("/tmp/.corvane_notify") + gone)) << gone;

    system.remove_file(pid_file);
    pass(1);  // restart wait
    EXPECT_EQ(driver.take_calls(), "set_hostapd 0; reset_context");
    pass(30);
    system.write_file(pid_file);
    pass(40);  // back before the limit
    EXPECT_TRUE(ready);
    EXPECT_EQ(log.count("Hostapd has not restarted\n"), 0);
    notify("hostapd_started");
    pass(1);
    system.remove_file(pid_file);
    driver.calls.clear();
    pass(61);  // stopped in the first of these seconds: 60 s are still waiting
    EXPECT_TRUE(ready);
    pass(1);
    EXPECT_FALSE(ready);
    EXPECT_EQ(log.count("Hostapd has not restarted\n"), 1);
    EXPECT_EQ(driver.take_calls(), "set_hostapd 0; reset_context");  // deinit adds nothing
    system.write_file(pid_file);
    turn();
    system.remove_file(pid_file);
    pass(1);
    EXPECT_FALSE(ready);
}

TEST_F(lifecycle, pid_file_that_vanishes_before_hostapd_was_announced) {
    log_capture log(log_debug_bit);
    system.write_file(pid_file);
    turn();
    system.remove_file(pid_file);
    turn();
    EXPECT_FALSE(ready);
    EXPECT_EQ(log.count("Hostapd is not init and scoutd is not sentry mode\n"), 1);
    EXPECT_EQ(driver.take_calls(), "");
}

TEST_F(lifecycle, subscription_table) {
    struct row {
        const char* before;  // events: U up, D down, A accepted, B busy, R refused, E empty status, H hostapd starts
        const char* sent;
        bool subscribing, subscribed;
        int timer, due;  // subscribe timers, and when the first is due
    };
    for (const row& r : std::initializer_list<row>{
             {"U", "", true, false, 0, -1},
             {"UH", "subscribe-request", true, false, 1, 30},
             {"HU", "subscribe-request", true, false, 1, 30},
             {"HUU", "subscribe-request subscribe-request", true, false, 1, 30},
             {"HUE", "subscribe-request", true, false, 1, 30},
             {"HUB", "subscribe-request", true, false, 1, 60},
             {"HUBBB", "subscribe-request", true, false, 1, 120},
             {"HUR", "subscribe-request", false, false, 0, -1},
             {"HUA", "subscribe-request", false, true, 0, -1},
             {"HUAH", "subscribe-request rrm-config-changed", false, true, 0, -1},
             {"HUAD", "subscribe-request", false, false, 0, -1},
             {"HUD", "subscribe-request", false, false, 0, -1},
             {"HUADU", "subscribe-request subscribe-request", true, false, 1, 30},
             {"HUBU", "subscribe-request subscribe-request", true, false, 1, 30},
         }) {
        SCOPED_TRACE(r.before);
        worker.reset();
        worker = std::make_unique<rrm_worker>(&running, driver, "home", from_service, to_service, from_bus, to_bus);
        ready = false;
        driver.hostapd = false;
        system.write_file(pid_file);
        turn();
        for (const char* event = r.before; *event; ++event) {
            switch (*event) {
                case 'U':
                    service(link_up);
                    break;
                case 'D':
                    service(link_down);
                    break;
                case 'A':
                    service(accepted);
                    break;
                case 'B':
                    command("subscribe-response", R"(,"status":"error","code":503)");
                    break;
                case 'R':
                    command("subscribe-response", R"(,"status":"error","code":500)");
                    break;
                case 'E':
                    command("subscribe-response", R"(,"code":503)");
                    break;
                default:
                    start_hostapd();
            }
            EXPECT_EQ(system.has_file(marker), subscribed());
        }
        EXPECT_EQ(sent_names(), r.sent);
        EXPECT_EQ(subscribing(), r.subscribing);
        EXPECT_EQ(subscribed(), r.subscribed);
        EXPECT_EQ(timers(2), r.timer);
        EXPECT_EQ(due(2), r.due);
    }
    // Retries after 30, 60, 120, 120 s, for as long as nobody answers.
    sent();
    for (const int wait : {60, 120, 120, 120}) {
        command("subscribe-response", R"(,"status":"error","code":503)");
        EXPECT_EQ(due(2), wait);
    }
    service(link_up);
    sent();
    for (const int wait : {30, 60, 120, 120}) {
        pass(wait - 1);
        EXPECT_EQ(sent_names(), "");
        pass(1);
        EXPECT_EQ(sent_names(), "subscribe-request");
    }
}

TEST_F(lifecycle, stops_drops_and_ends) {
    subscribe(R"({"use-80211v":1,"use-80211r":1})");
    driver.at(0).vaps[1].kv = true;
    const std::string kv = "del_neighbors wlan0-va1; del_neighbors wlan1-va1; ";
    command("rrm-update");
    notify("hostapd_started");  // both notifications together: one message
    notify("config_updated");
    turn();
    EXPECT_EQ(sent_names(), "rrm-config-changed");
    notify("config_updated");
    turn();
    EXPECT_EQ(sent_names(), "rrm-config-changed");
    driver.events.push_back({driver_event_desc::config_changed, 0, nullptr});
    command("rrm-update", R"(,"rrm-scan-delay":50)");
    for (const int id : {3, 4, 6})
        rrm_test_access::arm(*worker, id, 50);
    system.remove_file(pid_file);
    turn();
    EXPECT_EQ(sent(),
              R"({"version":"2.4","service":"rrm","cmd":"rrm-disassoc-all-clients","ap-mac":"02:00:00:00:00:10",)"
              R"("domain":"home","factory":{"board":"board-1","hw":"hw-2",)"
              R"("serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"}})"
              "\n");
    for (int id = 0; id < 7; ++id)
        EXPECT_EQ(timers(id), 0) << id;

    start_hostapd();
    driver.calls.clear();
    service(link_down);
    EXPECT_EQ(driver.take_calls(), kv + "reset_corvane 0; fbt reset 2; stop_all");
    EXPECT_FALSE(system.has_file(marker));
    service(link_up);
    service(accepted);
    system.remove_file(pid_file);
    pass(1);
    driver.calls.clear();
    pass(61);  // given up while subscribed
    EXPECT_EQ(driver.take_calls(), kv + "stop_all; reset_corvane 0; fbt reset 0");

    start_hostapd();
    driver.calls.clear();
    running = false;
    sent();
    turn();
    EXPECT_EQ(driver.take_calls(), kv + "stop_all; reset_corvane 1; fbt reset 1; set_hostapd 0; reset_context");
    EXPECT_EQ(sent_names(), "rrm-disassoc-all-clients");
    EXPECT_TRUE(system.has_file(marker));
    worker.reset();
    EXPECT_EQ(driver.take_calls(), kv + "stop_all; reset_context");
    EXPECT_FALSE(system.has_file(marker));
}

TEST_F(lifecycle, messages_wait_for_a_scan) {
    subscribe();
    command("rrm-update", R"(,"quarn-rrm-scanning":1)");
    command("rrm-request-mode");
    command("rrm-update");
    service(R"({"service":"rrm"})");  // no version: not looked at while a scan runs
    EXPECT_EQ(sent_names(), "");
    pass(4);
    EXPECT_EQ(sent_names(), "rrm-response rrm-mode-response");
    turn();
    EXPECT_TRUE(driver.scanning);  // the deferred order
    command("rrm-request-mode");
    service(link_down);
    EXPECT_FALSE(driver.scanning);
    pass(30);
    EXPECT_EQ(sent_names(), "");  // nor the deferred message

    // An order that comes before the subscription: its scan must not outlive the link either.
    service(link_up);
    command("rrm-update");
    EXPECT_TRUE(driver.scanning);
    service(link_down);
    EXPECT_FALSE(driver.scanning);
    // hostapd away during a scan: the driver stops nothing before it is back.
    service(link_up);
    command("rrm-update");
    system.remove_file(pid_file);
    turn();
    command("rrm-request-mode");
    EXPECT_TRUE(driver.scanning);
    sent();
    start_hostapd();
    EXPECT_FALSE(driver.scanning);
    turn();
    EXPECT_EQ(sent_names(), "subscribe-request rrm-mode-response");
}

TEST_F(lifecycle, notification_files_of_other_kinds) {
    subscribe();
    // Directories cannot be removed: they do not count, on no turn.
    system.write_file("/tmp/.corvane_notify_hostapd_started/");
    system.write_file("/tmp/.corvane_notify");
    pass(3);
    system.write_file("/tmp/.corvane_notify/");
    system.write_file("/tmp/.corvane_notify_config_updated");
    pass(3);
    EXPECT_EQ(driver.take_calls(), "");
    EXPECT_EQ(sent_names(), "");
    // Links are removed or replaced, what they point to stays.
    const std::string root = system.root();
    rmdir((root + "/tmp/.corvane_notify").c_str());
    remove((root + "/tmp/.corvane_notify_config_updated").c_str());
    system.write_file("/etc/passwd", "root");
    for (const char* name : {"_config_updated", "", "-connected"}) {
        const std::string path = root + (*name == '-' ? "/tmp/.corvane" : "/tmp/.corvane_notify") + name;
        remove(path.c_str());
        ASSERT_EQ(symlink((root + "/etc/passwd").c_str(), path.c_str()), 0);
    }
    turn();
    EXPECT_EQ(sent_names(), "rrm-config-changed");
    service(accepted);
    EXPECT_EQ(system.read_file("/etc/passwd"), "root");
    struct stat info;
    ASSERT_EQ(lstat((root + marker).c_str(), &info), 0);
    EXPECT_TRUE(S_ISREG(info.st_mode) && info.st_size == 0);
    // A directory in the marker's place is left alone.
    service(link_down);
    system.write_file(std::string(marker) + "/");
    service(link_up);
    service(accepted);
    EXPECT_TRUE(subscribed());
}

// Random stories. The model knows only what the messages and files say; every message that may be deferred carries a
// number that its handling shows.
TEST_F(lifecycle, random_stories) {
    const char* chosen = std::getenv("RAVD_SEED");
    const unsigned first = chosen ? static_cast<unsigned>(std::strtoul(chosen, nullptr, 10)) : 1;
    for (unsigned seed = first; seed < first + (chosen ? 1 : 60); ++seed) {
        SCOPED_TRACE("RAVD_SEED=" + std::to_string(seed));
        std::mt19937 random(seed);
        const auto pick = [&](unsigned n) { return static_cast<int>(random() % n); };
        bool link = false, subscribed_model = false, subscribing_model = false;
        std::vector<int> open, dropped, handled;  // numbers sent on this link, void with their link, handled
        int next = 0;
        const auto look_at_calls = [&] {
            for (const std::string& call : driver.calls)
                if (call.rfind("add_neighbor ", 0) == 0) handled.push_back(std::atoi(call.c_str() + 13));
            driver.calls.clear();
            sent();
        };
        worker.reset();
        system.remove_file(pid_file);
        driver.hostapd = driver.scanning = ready = false;
        worker = std::make_unique<rrm_worker>(&running, driver, "home", from_service, to_service, from_bus, to_bus);
        for (int step = 0; step < 250 && !HasFailure(); ++step) {
            const bool taken = ready && system.has_file(pid_file);  // a message now is taken in its turn
            switch (pick(14)) {
                case 0:
                    if (!taken) break;
                    service(link_up);
                    link = subscribing_model = true;
                    break;
                case 1:
                    if (!taken || pick(3)) break;
                    service(link_down);
                    link = subscribed_model = subscribing_model = false;
                    std::copy_if(open.begin(), open.end(), std::back_inserter(dropped),
                                 [&](int n) { return !std::count(handled.begin(), handled.end(), n); });
                    open.clear();
                    break;
                case 2:
                case 3: {
                    if (!taken || !link || driver.scanning) break;
                    const int answer = pick(3);
                    command("subscribe-response", answer == 0   ? R"(,"status":"success")"
                                                  : answer == 1 ? R"(,"status":"no","code":503)"
                                                                : R"(,"status":"no","code":1)");
                    subscribing_model = answer == 1;
                    subscribed_model |= answer == 0;
                    break;
                }
                case 4:
                    start_hostapd();
                    break;
                case 5:
                    system.remove_file(pid_file);
                    break;
                case 6:
                    system.write_file(pid_file);
                    break;
                case 7:
                    driver.events.push_back({driver_event_desc::config_changed, 0, nullptr});
                    break;
                case 8:
                case 9:
                    if (taken && link)
                        command("rrm-update", ",\"rrm-scan-delay\":" + std::to_string(pick(4)) +
                                                  ",\"quarn-rrm-scanning\":" + std::to_string(pick(2)));
                    break;
                case 10:
                case 11:
                    if (!taken || !link) break;
                    open.push_back(next);
                    command("rrm-sta-overload", R"(,"802dot11k":[{"neighbour-mac":"n","vaps":[{"ssid":"","mac":")" +
                                                    std::to_string(next++) + "\"}]}]");
                    break;
                case 12:
                    pass(pick(70));
                    break;
                default:
                    pass(pick(4));
            }
            look_at_calls();
            ASSERT_TRUE(!driver.hostapd || !driver.scanning || timers(1) == 1);
            for (const int id : {0, 1, 2, 4, 5, 6})
                ASSERT_LE(timers(id), 1) << id;
            ASSERT_EQ(subscribing() && driver.hostapd, timers(2) == 1 && driver.hostapd);
            if (!ready) continue;
            ASSERT_EQ(subscribed(), subscribed_model);
            ASSERT_EQ(subscribing(), subscribing_model);
            ASSERT_EQ(system.has_file(marker), subscribed_model);
        }
        // Everything still open on this link is handled once all scans have ended, nothing else ever was.
        start_hostapd();
        for (int i = 0; i < 400; ++i)
            pass(1);
        look_at_calls();
        for (const int number : open)
            EXPECT_EQ(std::count(handled.begin(), handled.end(), number), 1) << number;
        for (const int number : dropped)
            EXPECT_EQ(std::count(handled.begin(), handled.end(), number), 0) << number;
        EXPECT_EQ(std::set<int>(handled.begin(), handled.end()).size(), handled.size());
        if (HasFailure()) break;
    }
}

}  // namespace
}  // namespace ravd::testing

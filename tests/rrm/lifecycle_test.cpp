// The worker's end, notification files of other kinds, and random stories against a model.
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "platform/unique_fd.h"
#include "tests/core/log_capture.h"
#include "tests/rrm/agent_fixture.h"
#include "tests/support/allocations.h"
#include "tests/support/message.h"

namespace ravd::testing {
namespace {

using lifecycle = agent;

// The rest of the watch over hostapd is told in stories/hostapd.story.
TEST_F(lifecycle, ends) {
    subscribe("{'use-80211r':1}");
    running = false;
    turn();
    const std::string removed = "del_neighbors wlan1-va1; stop_all; ";
    EXPECT_EQ(driver.take_calls(), removed + "reset_corvane 1; fbt reset 1; set_hostapd 0; reset_context");
    worker.reset();
    EXPECT_EQ(driver.take_calls(), removed + "reset_context");
    EXPECT_FALSE(system.has_file(marker));
}

// Requests that had all arrived when a reading began share it, unless something happens between them.
TEST_F(lifecycle, requests_that_share_a_reading) {
    subscribe();
    const auto put = [](safe_queue& queue, const std::string& text) {
        const auto message = make_buffer();
        message->append(text.data(), text.size());
        queue.push(message);
    };
    const auto ask = [&] { put(from_service, swap_quotes(rrm + "rrm-request-mode'}")); };
    int readings = 0;
    driver.in_reading = [&] {
        if (++readings == 1) ask();
    };
    for (const int expected : {1, 1, 2}) {  // the last one came during the first reading
        if (readings == 0) ask(), ask();
        turn();
        EXPECT_EQ(sent_names(), "rrm-mode-response ");
        EXPECT_EQ(readings, expected);
    }
    const std::function<void()> happenings[] = {
        [&] { put(from_bus, "{}"); }, [&] { driver.events.emplace_back(); }, [&] { notify("_config_updated"); },
        [&] { worker->add_timer([] {}, timer_blocked, 0); }, [&] { put(from_service, "{}"); }};
    for (const auto& happening : happenings) {
        readings = 1;
        ask();
        if (&happening == std::end(happenings) - 1) happening();
        ask(), ask();
        for (int i = 0; i < 4; ++i) {
            turn();
            if (i == 0) happening();
        }
        EXPECT_EQ(readings, &happening == happenings + 2 ? 4 : 3) << &happening - happenings;
        sent();
    }
    // A link that does not keep up gets them at the pace of readings.
    put(to_service, std::string(queue_limit / 2, ' '));
    readings = 1;
    for (int i = 0; i < 7; ++i)  // one message is left over
        i < 3 ? ask() : turn();
    EXPECT_EQ(readings, 4);
}

TEST_F(lifecycle, notification_files_of_other_kinds) {
    subscribe();
    system.remove_file(notify_file);
    for (const char* name : {"_hostapd_started", "_scoutd_started", "_timezone_changed"})
        system.write_file(notify_file + name);
    pass(2);  // not looked at without the common notification
    EXPECT_EQ(driver.take_calls(), "");
    EXPECT_TRUE(system.has_file(notify_file + "_hostapd_started"));
    system.write_file(notify_file);
    turn();
    EXPECT_EQ(driver.take_calls(), "set_hostapd 1; reset_context; init_context; stop_all");
    for (const char* gone : {"", "_hostapd_started", "_scoutd_started", "_timezone_changed"})
        EXPECT_FALSE(system.has_file(notify_file + gone)) << gone;
    sent();
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

// Radios may take a minute to be read: by then the next link may be up, and it begins with the subscription.
TEST_F(lifecycle, what_was_made_for_a_link_goes_with_it) {
    for (const bool asked : {false, true}) {
        subscribe();
        bool ended = false;
        driver.in_reading = [&] {
            if (std::exchange(ended, true)) return;
            for (const std::string& event : {link_down, link_up}) {
                const auto buffer = message(swap_quotes(event));
                buffer->internal = true;
                from_service.push(buffer);
            }
        };
        if (asked)
            command("rrm-request-mode");
        else
            start_hostapd();
        for (int i = 0; i < 3; ++i)
            turn();
        EXPECT_EQ(sent_names(), "subscribe-request ") << asked;
        driver.in_reading = nullptr;
        service(link_down);
    }
}

TEST_F(lifecycle, rests_until_there_is_something_to_do) {
    // A user has 128 of them, and this machine may run more agents than that.
    if (!unique_fd(inotify_init1(0))) GTEST_SKIP() << "no inotify left";
    const auto rested_ms = [this] {
        const double began = system.now_s();
        turn();
        return std::lround((system.now_s() - began) * 1000);
    };
    const auto push = [this] {
        auto message = make_buffer();
        message->append("x", 1);
        from_service.push(message);
    };
    driver.rests = true;
    subscribe();
    command("rrm-update", ",'rrm-scan-delay':3");
    while (rested_ms() < 1000) {  // files and messages of the way here
    }
    system.advance_ms(500);
    EXPECT_EQ(rested_ms() + rested_ms(), 1000 + 500);  // until the timer, at most 1 s
    service(link_down);
    rested_ms();
    EXPECT_EQ(rested_ms(), 1000);
    const long before = allocations();
    EXPECT_TRUE(worker->is_alive(&running) && worker->process());
    EXPECT_EQ(allocations() - before, 0) << "an idle turn allocates";
    push();
    push();
    EXPECT_EQ(rested_ms(), 0);
    EXPECT_EQ(rested_ms(), 0);
    EXPECT_EQ(rested_ms(), 1000);
    system.write_file("/tmp/of somebody else");
    EXPECT_EQ(rested_ms(), 1000);
    // Several files make a notification: what else belongs to it has a moment to appear.
    notify("_timezone_changed");
    EXPECT_EQ(rested_ms(), 100);
    EXPECT_EQ(rested_ms(), 1000);
    system.remove_file(pid_file);
    EXPECT_EQ(rested_ms(), 100);
    // Where files cannot be watched they are looked at.
    for (const char* name : {"/tmp/of somebody else", "/tmp"})
        ASSERT_EQ(remove((system.root() + name).c_str()), 0);
    EXPECT_EQ(rested_ms(), 100);
    EXPECT_EQ(rested_ms(), 100);
    system.write_file("/tmp/");
    EXPECT_EQ(rested_ms(), 1000);
}

TEST_F(lifecycle, probe_report_and_blocked_stations) {
    subscribe();
    auto& first = worker->stations().probes(0);
    auto& second = worker->stations().probes(1);
    first = {{MacAddr{{2, 0, 0, 0, 0, 0xA}}, {0, 3, 1}},
             {MacAddr{{2, 0, 0, 0, 0, 0xB}}, {-55, 2, 4}}};  // VAP 4 has no SSID
    second[MacAddr{{2, 0, 0, 0, 0, 9}}] = {-40, 4, 1};
    worker->stations().blocked(1)[MacAddr{{0xAA, 0, 0, 0, 0, 1}}] = 3;
    count_stations();
    pass(2);
    EXPECT_EQ(first.size(), 1u);
    EXPECT_EQ(sent() + driver.take_calls(), "");
    pass(1);
    EXPECT_EQ(driver.take_calls(), "unblock wlan1 AA:00:00:00:00:01");
    EXPECT_EQ(sent(), rrm +
                          "rrm-probe-response','ap-mac':'02:00:00:00:00:10','domain':'home',"
                          "'radios':[{'id':0,'probe-list':[{'mac':'02:00:00:00:00:0A','ssid':'guest','rssi':-66}]},"
                          "{'id':1,'probe-list':[]}]}\n");
    pass(1);
    EXPECT_NE(sent().find("'radios':[{'id':1,'probe-list':[{'mac':'02:00:00:00:00:09','ssid':'guest','rssi':-40}]}]}"),
              std::string::npos);
    EXPECT_EQ(due(timer_probe_response), std::vector{1LL});
    pass(1);
    EXPECT_TRUE(due(timer_probe_response).empty() && due(timer_blocked).empty());
    for (const bool link : {false, true}) {  // what ends takes them along
        subscribe();
        second[MacAddr{}] = {-40, 90, 1};
        worker->stations().blocked(1)[MacAddr{}] = 3;
        system.remove_file(link ? "/none" : pid_file);
        link ? service(link_down) : turn();
        EXPECT_TRUE(second.empty() && worker->stations().blocked(1).empty()) << link;
    }
}

// The model knows only what messages and files say. Whatever may have to wait for a scan carries a number that its
// handling shows: once, unless the link dropped or hostapd was waited for before. RAVD_SEED repeats one story.
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
            if (std::exchange(waits, 0) != 0) wanted = handled;
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
            for (int id = 0; id < timer_count; ++id)
                ASSERT_TRUE(id == timer_rrm_response || due(id).size() <= 1) << id;
            ASSERT_TRUE(!driver.hostapd || subscribing() == (due(timer_subscribe).size() == 1));
            ASSERT_TRUE(link || !driver.hostapd || !driver.scanning);
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

// The agent on a virtual clock with a fake driver: a small language to tell a device's story in. JSON is written with
// single quotes, here and in what is compared.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "rrm/rrm_worker.h"
#include "tests/rrm/fake_driver.h"
#include "tests/support/fake_bus.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {

inline const std::string pid_file = "/var/run/hostapd.pid", notify_file = "/tmp/.corvane_notify",
                         marker = "/tmp/.corvane-connected", link_up = "{'service':'internal-ipc','cmd':'connected'}",
                         link_down = "{'service':'internal-ipc','cmd':'disconnected'}",
                         rrm = "{'version':'2.4','service':'rrm','cmd':'";

inline std::string swap_quotes(std::string text) {
    for (char& c : text)
        c = c == '"' ? '\'' : c == '\'' ? '"' : c;
    return text;
}

class agent : public ::testing::Test {
  protected:
    fake_system& system = fake_system::get();
    fake_driver driver;
    safe_queue from_service, to_service, from_bus, to_bus;
    run_flag running{true};
    std::unique_ptr<rrm_worker> worker;
    bool ready = false;
    int waits = 0;  // for hostapd that came to an end

    agent() {
        system.reset();
        fake_bus::get().reset();
        system.write_file("/tmp/");
        restart();
    }
    void restart() {
        worker.reset();
        worker = std::make_unique<rrm_worker>(&running, driver, "home", from_service, to_service, from_bus, to_bus);
        ready = driver.hostapd = driver.scanning = false;
        system.remove_file(pid_file);
        driver.calls.clear();
    }
    // One turn of the worker's thread.
    void turn() {
        if (!ready) {
            ready = worker->init();
            waits += ready;
        } else if (worker->is_alive(&running)) {
            EXPECT_TRUE(worker->process());
        } else {
            worker->deinit();
            ready = false;
        }
        EXPECT_TRUE(!driver.hostapd || system.has_file(pid_file));
        // Else messages would wait for good.
        EXPECT_TRUE(!driver.hostapd || !driver.scanning || due(timer_scan_finished).size() == 1);
    }
    // Lets seconds pass, one turn after each.
    void pass(int seconds) {
        for (; seconds > 0; --seconds) {
            system.advance_ms(1000);
            turn();
        }
    }
    void notify(const std::string& what) {
        system.write_file(notify_file + what);
        system.write_file(notify_file);
    }
    void start_hostapd() {
        system.write_file(pid_file);
        while (!ready)
            turn();
        notify("_hostapd_started");
        turn();
    }
    void from(safe_queue& queue, const std::string& json) {
        const std::string text = swap_quotes(json);
        auto buffer = make_buffer();
        buffer->append(text.data(), text.size());
        // In just these words it is the link that speaks; in others somebody who claims to be the link.
        buffer->internal = &queue == &from_service && (json == link_up || json == link_down);
        queue.push(buffer);
        turn();
    }
    void service(const std::string& json) { from(from_service, json); }
    // A command of the service; `members` begins with a comma.
    void command(const std::string& cmd, const std::string& members = "") { service(rrm + cmd + "'" + members + "}"); }
    // Subscribed, with nothing left over of the way there.
    void subscribe(const std::string& config = "{}") {
        start_hostapd();
        service(link_up);
        command("subscribe-response", ",'status':'success','config':" + config);
        sent();
        driver.calls.clear();
    }
    // What went to the service since the last time, one message a line.
    std::string sent() {
        std::string all;
        while (to_service.pop([&](const auto& message) { all += message->data + std::string("\n"); })) {
        }
        return swap_quotes(all);
    }
    // The same, only the names of the messages, each followed by a blank.
    std::string sent_names() {
        std::string names;
        while (to_service.pop(
            [&](const auto& message) { names += json_reader(message->data).get_string("cmd") + std::string(" "); })) {
        }
        return names;
    }
    // Seconds until each timer of that id is due.
    std::vector<long long> due(int id) {
        std::vector<long long> all;
        worker->visit_timers([&](std::int32_t of, std::int64_t in) {
            if (of == id) all.push_back(in);
        });
        return all;
    }
    // What fills the station tables starts their timer; here it is the test.
    void count_stations() {
        worker->add_timer([this] { worker->stations().post_rrm_probe_response(); }, timer_probe_response, 1);
        worker->add_timer([this] { worker->stations().count_blocked_down(); }, timer_blocked, 1);
    }
    bool subscribed() const { return worker->state().subscribed(); }
    bool subscribing() const { return worker->state().subscribing(); }
};

}  // namespace ravd::testing

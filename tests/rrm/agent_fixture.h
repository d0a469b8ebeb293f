// The agent on a virtual clock with a fake driver: a small language to tell a device's story in.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "rrm/rrm_worker.h"
#include "tests/rrm/fake_driver.h"
#include "tests/support/fake_bus.h"
#include "tests/support/fake_system.h"

namespace ravd {

struct worker_test_access {
    static int timers(const abstract_worker& worker, std::int32_t id) {
        int n = 0;
        for (const auto& timer : worker.timers_)
            n += timer.id == id;
        return n;
    }
    // Seconds until the first timer of that id is due; -1 when there is none.
    static long long due(abstract_worker& worker, std::int32_t id) {
        for (const auto& timer : worker.timers_)
            if (timer.id == id) return timer.due - worker.now_s();
        return -1;
    }
};

struct rrm_test_access {
    static bool subscribed(const rrm_worker& w) { return w.subscribed_; }
    static bool subscribing(const rrm_worker& w) { return w.subscribing_; }
    static bool hostapd_stopped(const rrm_worker& w) { return w.hostapd_stopped_; }
    static auto& probes(rrm_worker& w, std::size_t radio) { return w.probe_tables_[radio]; }
    static auto& blocked(rrm_worker& w, std::size_t radio) { return w.blocked_tables_[radio]; }
    static void arm(rrm_worker& w, int id, int delay) { w.arm(static_cast<rrm_worker::timer_id>(id), delay); }
};

namespace testing {

inline constexpr const char* pid_file = "/var/run/hostapd.pid";
inline constexpr const char* marker = "/tmp/.corvane-connected";
inline constexpr const char* link_up = R"({"version":"2.4","service":"internal-ipc","cmd":"connected"})";
inline constexpr const char* link_down = R"({"version":"2.4","service":"internal-ipc","cmd":"disconnected"})";
inline constexpr const char* accepted =
    R"({"version":"2.4","service":"rrm","cmd":"subscribe-response","status":"success"})";

inline std::shared_ptr<buffer_info_t> buffer_of(const std::string& text) {
    auto buffer = make_buffer();
    buffer->append(text.data(), text.size());
    return buffer;
}

class agent : public ::testing::Test {
  protected:
    fake_system& system = fake_system::get();
    fake_driver driver;
    safe_queue from_service, to_service, from_bus, to_bus;
    run_flag running{true};
    std::unique_ptr<rrm_worker> worker;
    bool ready = false;

    agent() {
        system.reset();
        fake_bus::get().reset();
        system.write_file("/tmp/");
        worker = std::make_unique<rrm_worker>(&running, driver, "home", from_service, to_service, from_bus, to_bus);
        driver.open_bus();
        driver.calls.clear();
    }

    // One turn of the worker's thread.
    void turn() {
        if (!ready) {
            ready = worker->init();
        } else if (worker->is_alive(&running)) {
            EXPECT_TRUE(worker->process());
        } else {
            worker->deinit();
            ready = false;
        }
    }
    // Lets seconds pass, one turn after each.
    void pass(int seconds) {
        for (int i = 0; i < seconds; ++i) {
            system.advance_ms(1000);
            turn();
        }
    }
    void notify(const char* what) {
        system.write_file(std::string("/tmp/.corvane_notify_") + what);
        system.write_file("/tmp/.corvane_notify");
    }
    void start_hostapd() {
        system.write_file(pid_file);
        while (!ready)
            turn();
        notify("hostapd_started");
        turn();
    }
    void from(safe_queue& queue, const std::string& text) {
        queue.push(buffer_of(text));
        turn();
    }
    void service(const std::string& text) { from(from_service, text); }
    // A command of the service; `members` begins with a comma.
    void command(const std::string& cmd, const std::string& members = "") {
        service(R"({"version":"2.4","service":"rrm","cmd":")" + cmd + "\"" + members + "}");
    }
    // Subscribed, with nothing left over of the way there.
    void subscribe(const std::string& config = "{}") {
        start_hostapd();
        service(link_up);
        command("subscribe-response", R"(,"status":"success","config":)" + config);
        sent();
        driver.calls.clear();
    }
    // What went to the service since the last time, one message a line.
    std::string sent() {
        std::string all;
        while (to_service.pop([&](const std::shared_ptr<buffer_info_t>& m) { all += m->data + std::string("\n"); })) {
        }
        return all;
    }
    // The same, only the names of the messages.
    std::string sent_names() {
        std::string names;
        while (to_service.pop([&](const std::shared_ptr<buffer_info_t>& m) {
            names += (names.empty() ? "" : " ") + std::string(json_reader(m->data).get_string("cmd"));
        })) {
        }
        return names;
    }
    int timers(int id) const { return worker_test_access::timers(*worker, id); }
    long long due(int id) { return worker_test_access::due(*worker, id); }
    bool subscribed() const { return rrm_test_access::subscribed(*worker); }
    bool subscribing() const { return rrm_test_access::subscribing(*worker); }
};

}  // namespace testing
}  // namespace ravd

// One link worker on the virtual clock, with a server on the loopback interface. The test plays the worker's thread.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "link/websock_worker.h"
#include "tests/link/raw_server.h"
#include "tests/support/fake_system.h"
#include "tests/support/message.h"

namespace ravd {

namespace testing {

class link_test : public ::testing::Test {
  protected:
    void SetUp() override {
        fake_system::get().reset();
        make();
    }

    void make(std::uint32_t initial = 0, std::uint32_t most = 0, const char* host = "127.0.0.1",
              resolver::lookup_function lookup = look_up_addresses) {
        worker.reset();  // one at a time
        worker = std::make_unique<websock_worker>(to_service, from_service, host, "/api?x=1", server.port, &running,
                                                  initial, most, mode, tls_settings{}, std::move(lookup));
        initialized = false;
    }

    // What the thread's loop does in one turn; `step_ms` passes on the clock. True while a cycle goes on. A turn does
    // not wait: a timer is due at once.
    bool turn(int step_ms = 0) {
        if (!initialized) {
            initialized = worker->init();
            if (!initialized) clock.advance_ms(1000);
        } else if (worker->is_alive(&running)) {
            worker->add_timer([] {}, no_wait, 0);
            EXPECT_FALSE(worker->process());
            server.step();
            clock.advance_ms(step_ms);
        } else {
            worker->deinit();
            initialized = false;
            clock.advance_ms(1000);
        }
        take_inbox();
        return initialized;
    }

    template <typename Condition>
    bool until(Condition condition, int step_ms, int turns) {
        while (turns-- > 0 && !condition())
            turn(step_ms);
        return condition();
    }
    // As long as a busy machine may need: a look-up has a thread of its own, the virtual clock does not wait for it.
    template <typename Condition>
    bool until(Condition condition, int step_ms = 0) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition() && std::chrono::steady_clock::now() < limit)
            turn(step_ms);
        return condition();
    }

    // "+" for connected, "-" for disconnected, else the text.
    void take_inbox() {
        const auto take = [this](const std::shared_ptr<buffer_info_t>& buffer) {
            EXPECT_EQ(buffer->internal, buffer->text().find("internal-ipc") != std::string_view::npos);
            if (buffer->text() == R"({"version":"2.4","service":"internal-ipc","cmd":"connected"})")
                statuses += '+';
            else if (buffer->text() == R"({"version":"2.4","service":"internal-ipc","cmd":"disconnected"})")
                statuses += '-';
            else
                inbox.emplace_back(buffer->text());
        };
        while (reading_inbox && from_service.pop(take)) {
        }
    }

    bool up() const { return server.open() && !statuses.empty() && statuses.back() == '+'; }
    void connect() {
        ASSERT_TRUE(until([this] { return up(); }));
    }
    // The link ends, and a healthy server gets it back.
    void expect_recovery(int step_ms = 1000) {
        ASSERT_TRUE(until([this] { return !initialized; }, step_ms)) << "the link did not end";
        server.drain_backlog();
        server.hang_up();
        server.how = manner::healthy;
        server.reading = server.answer_pings = true;
        statuses.clear();
        connect();
        server.send_text("hello");
        push("world");
        ASSERT_TRUE(until([this] { return !inbox.empty() && !server.texts().empty(); }));
        EXPECT_EQ(inbox.back(), "hello");
        EXPECT_EQ(server.texts().back(), "world");
    }
    void push(std::string_view text) { ASSERT_TRUE(to_service.push(message(text))); }

    static constexpr int no_wait = 99;  // a timer's id

    fake_system& clock = fake_system::get();
    run_flag running{true};
    safe_queue to_service;    // test -> worker
    safe_queue from_service;  // worker -> test
    raw_server server;
    int mode = corvane_mode;
    std::unique_ptr<websock_worker> worker;
    bool initialized = false;
    bool reading_inbox = true;
    std::string statuses;
    std::vector<std::string> inbox;
};

}  // namespace testing
}  // namespace ravd

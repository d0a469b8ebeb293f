#include "core/worker.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <exception>
#include <string>
#include <vector>

#include "tests/core/log_capture.h"

namespace ravd {
namespace {

using testing::fake_system;

// Writes down what the base class calls and when; the scripts decide the answers.
class scripted_worker final : public abstract_worker {
  public:
    explicit scripted_worker(std::int32_t poll_timeout_us = 0)
        : abstract_worker(&flag, "scripted", poll_timeout_us, 300000) {}

    bool init() override { return note("init"), on_init(); }
    bool process() override { return note("process"), on_process(); }
    void deinit() override { note("deinit"); }
    bool is_alive(const run_flag* running) override { return *running && alive; }

    void note(const char* what) {
        const double since = fake_system::get().now_s() - begin;
        calls += std::string(what) + "@" + std::to_string(std::lround(since * 1000)) + " ";
        if (++turns == limit) flag = false;
    }
    using abstract_worker::active_;

    run_flag flag{true};
    bool alive = true;
    int turns = 0;
    int limit = 4;
    double begin = fake_system::get().now_s();
    std::string calls;
    std::function<bool()> on_init = [] { return true; };
    std::function<bool()> on_process = [] { return true; };
};

TEST(Worker, TurnsAndWaits) {
    scripted_worker failing;  // waits the restart delay
    failing.on_init = [] { return false; };
    failing.run();
    EXPECT_EQ(failing.calls, "init@0 init@300 init@600 init@900 ");

    scripted_worker waiting(100999);  // whole milliseconds count
    waiting.limit = 6;
    waiting.on_process = [&] {
        if (waiting.turns == 3) waiting.wake();
        return waiting.turns != 4;  // that turn is not idle
    };
    waiting.run();
    EXPECT_EQ(waiting.calls, "init@0 process@0 process@100 process@100 process@100 process@200 deinit@300 ");

    scripted_worker cycling;
    cycling.limit = 7;
    cycling.on_process = [&] {
        cycling.active_ = cycling.turns != 3;  // ends the first cycle
        cycling.alive = cycling.turns != 6;    // and this the second
        return true;
    };
    cycling.run();
    EXPECT_EQ(cycling.calls, "init@0 process@0 process@0 deinit@0 init@300 process@300 deinit@300 ");
}

TEST(WorkerDeathTest, AnExceptionEndsTheProcess) {
    const auto run = [](bool in_process) {
        std::set_terminate(end_unhandled);
        dup2(STDERR_FILENO, STDOUT_FILENO);  // the message goes to standard output
        scripted_worker worker;
        (in_process ? worker.on_process : worker.on_init) = [] { return std::string().at(1) == 'x'; };
        worker.start();
        worker.join();
    };
    for (const bool in_process : {true, false})
        EXPECT_EXIT(run(in_process), ::testing::ExitedWithCode(255), "^Unhandled exception at worker 'scripted'\n$");
}

TEST(Timers, RunOnceInOrderOfDueTime) {
    scripted_worker worker;
    std::string order;
    const auto add = [&](int id, std::int64_t delay_s) {
        worker.add_timer([&order, id] { order += static_cast<char>('0' + id); }, id, delay_s);
    };
    const auto run_after = [&](int seconds) {
        fake_system::get().advance_ms(seconds * 1000);
        order.clear();
        worker.run_timers();
        return order;
    };
    add(7, 5), add(8, 5), add(9, 1);
    EXPECT_EQ(run_after(0), "");
    EXPECT_EQ(run_after(5), "978");
    EXPECT_EQ(run_after(9), "") << "one-shot";
    add(7, 5), add(8, 5), add(9, 1), add(7, 2);
    worker.remove_timers(7);
    EXPECT_EQ(run_after(6), "98");
    // Out of range: now, and some time that is far but not past.
    add(1, -5), add(2, INT64_MAX), add(3, 1);
    EXPECT_EQ(run_after(1), "13");
    // Callbacks may change the list; what is due already runs all the same.
    worker.add_timer([&] { worker.remove_timers(5), add(6, 0), order += '4'; }, 4, 0);
    add(5, 0);
    EXPECT_EQ(run_after(0), "45");
    EXPECT_EQ(run_after(0), "6");
}

TEST(WatchdogDeathTest, EndsTheProcessAfterElevenLines) {
    fake_system::get().reset();  // the clock stands at 1000
    testing::log_capture log(log_debug_bit);
    timespec ten_ago{990, 0};
    EXPECT_EQ(abstract_worker::time_monotonic(ten_ago), 1000);
    EXPECT_EQ(ten_ago.tv_sec, 1000);
    for (const time_t last_s : {989, 1001}) {
        timespec last{last_s, 0};
        EXPECT_EXIT(abstract_worker::time_monotonic(last), ::testing::ExitedWithCode(255), "");
        for (int i = 0; i < 11; ++i)
            EXPECT_EQ(log.count("time_monotonic: Time error, need restart, expired [1000] [" + std::to_string(last_s) +
                                "] cnt " + std::to_string(i) + "\n"),
                      1);
    }
    EXPECT_EQ(log.count("\n"), 22);
}

TEST(WatchdogDeathTest, WorkersLookAfterEachOther) {
    fake_system::get().reset();
    testing::log_capture log(log_debug_bit);
    // While one worker is in its processing step, another runs and takes a reading every 5 s.
    const auto stuck_for = [](int seconds, bool stopping) {
        scripted_worker stuck;
        scripted_worker other;
        stuck.on_process = [&] { return other.run(), stuck.flag = false; };
        other.on_process = [&] {
            other.flag = !stopping;
            for (int s = 0; s < seconds; s += 5)
                fake_system::get().advance_ms(5000), other.progress().tick();
            return other.flag = false;
        };
        stuck.run();
    };
    stuck_for(10, false);
    stuck_for(60, true);
    EXPECT_EQ(log.text(), "");
    EXPECT_EXIT(stuck_for(15, false), ::testing::ExitedWithCode(255), "");
    EXPECT_EQ(log.count("Time error, need restart, expired [1085] [1070] cnt "), 11);
}

}  // namespace
}  // namespace ravd

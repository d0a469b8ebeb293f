// Base of the daemon's worker threads: restart loop, one-shot timers, watchdog, wake-up descriptor.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <list>
#include <string>

#include "core/activity.h"
#include "core/function_ref.h"
#include "core/pulse.h"
#include "core/status_slot.h"
#include "platform/unique_fd.h"

namespace ravd {

// Set while the worker's mode runs; cleared by the signal handler and read on every turn.
using run_flag = std::atomic<bool>;
static_assert(run_flag::is_always_lock_free, "the signal handler stores into it");

// Ends the process with status 255 without running destructors, which must not run under live threads.
[[noreturn]] void fatal_exit();

// What std::terminate comes to: an allocation or a library failed, and no code of ours takes exceptions. On a worker's
// thread says whose it is on standard output and ends the process with status 255; elsewhere aborts.
[[noreturn]] void end_unhandled();

class abstract_worker {
  public:
    using callback = std::function<void()>;

    // `name` is the worker's name, a literal. `poll_timeout_us` is the wait after an idle process(), 0 or less for
    // none; `restart_delay_us` the pause between a deinit and the next init. Both below the watchdog's 10 s.
    abstract_worker(const run_flag* running, const char* name, std::int32_t poll_timeout_us,
                    std::uint32_t restart_delay_us);
    abstract_worker(const abstract_worker&) = delete;
    abstract_worker& operator=(const abstract_worker&) = delete;

    // Opens the worker's resource. False: not ready, tried again after the restart delay.
    virtual bool init() = 0;
    // One unit of work. True: idle, the thread may wait; false: call again at once.
    virtual bool process() = 0;
    // Releases what init opened.
    virtual void deinit() = 0;
    // False ends the current cycle; always false once `running` is clear.
    virtual bool is_alive(const run_flag* running) = 0;
    // A worker whose thread is still attached must be joined first.
    virtual ~abstract_worker();

    // Creates the thread; once per worker. When the thread is about to end it adds 1 to the event descriptor `ended_fd`
    // (-1: none). False: there is none to be had.
    bool start(int ended_fd = -1);
    // Waits for the thread's end; returns at once when none was started.
    void join();
    // Body of the thread: init, process loop, deinit and restart delay while `running` is set.
    void run();

    // Timers and clock: only on the worker's own thread.

    // Runs `run` once, `delay_s` seconds (clamped to 0 .. 1,000,000) from now. Several timers may share an id.
    void add_timer(callback run, std::int32_t id, std::int64_t delay_s);
    void remove_timers(std::int32_t id);
    // Runs what is due, in order of due time, equal times in order of insertion. Callbacks may add and remove timers.
    // False when nothing was.
    bool run_timers();
    // Calls back for each timer that waits: its id, and the seconds until it is due.
    void visit_timers(function_ref<void(std::int32_t, std::int64_t)> visit);
    // Ends the worker's wait for events, the present or the next one. From any thread.
    virtual void wake();

    // For who looks from another thread. After ask_status the worker tells at its next clock reading; until then
    // asked() holds, and told_status() is what it told before. `told_fd` as for status_slot.
    void ask_status(int told_fd);
    bool asked() const { return status_.asked(); }
    std::string told_status() const { return status_.told(); }
    // Seconds since the worker's last clock reading.
    std::int64_t clock_age_s() const;
    const char* name() const { return name_; }

    // Seconds of the monotonic clock, and the watchdog: a gap of more than 10 s since the last reading, kept in
    // `last`, or a clock that went back, ends the process with status 255 after 11 log lines.
    static std::int64_t time_monotonic(timespec& last);

    // For the operations that run on this worker's thread.
    activity& progress() { return progress_; }

  protected:
    // Seconds of the monotonic clock. Each reading feeds the watchdog, and while the worker runs it also looks after
    // the others: one whose last reading is more than 10 s old ends the process as one of its own would.
    std::int64_t now_s();
    // Members of a JSON object that tell how the worker is; on its own thread, in the middle of whatever it does.
    virtual std::string describe_status() { return {}; }
    const run_flag* running() const { return running_; }
    int event_fd() const { return event_fd_.get(); }
    // Waits at most `timeout_ms` for wake(), and takes what called.
    void wait_for_event(int timeout_ms);
    // Takes what called, where the descriptor is readable.
    void take_event();
    // Changes the wait after an idle process().
    void set_poll_timeout(std::int32_t poll_timeout_us) { poll_timeout_us_ = poll_timeout_us; }
    // Milliseconds until the next timer is due, `longest` at most.
    int until_next_timer_ms(int longest);

    bool active_ = false;       // the current init/process cycle goes on; clear it to force a restart cycle
    bool initialized_ = false;  // result of the last init, cleared by deinit

  private:
    struct timer_node {
        callback run;
        std::int32_t id;
        std::int64_t due;  // seconds of the monotonic clock
    };

    class worker_activity final : public activity {
      public:
        explicit worker_activity(abstract_worker& worker) : worker_(worker) {}
        void tick() override { worker_.now_s(); }
        bool cancelled() const override { return !worker_.running_->load(std::memory_order_relaxed); }

      private:
        abstract_worker& worker_;
    };

    static void* thread_entry(void* self);

    const run_flag* running_;
    const char* name_;
    std::int32_t poll_timeout_us_;
    std::uint32_t restart_delay_us_;
    bool started_ = false;
    pthread_t thread_{};
    int ended_fd_ = -1;
    std::list<timer_node> timers_;
    timespec last_time_{};
    pulse pulse_;
    std::atomic<std::uint32_t> last_reading_{0};  // low 32 bits of the clock's seconds, for other threads
    status_slot status_;
    bool telling_ = false;
    unique_fd event_fd_;
    worker_activity progress_{*this};
};

}  // namespace ravd

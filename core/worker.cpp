#include "core/worker.h"

#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "core/logger.h"
#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::int64_t watchdog_gap_s = 10;
constexpr int watchdog_retries = 11;
constexpr std::int64_t longest_delay_s = 1000000;

thread_local const char* running_worker = nullptr;  // name of the one whose thread this is

void name_thread(const char* worker_name) {
    const std::string name = std::string("ravd:") + worker_name;
    prctl(PR_SET_NAME, name.c_str(), 0, 0, 0);  // the kernel keeps 15 characters
}

}  // namespace

void fatal_exit() {
    std::fflush(nullptr);
    std::_Exit(255);
}

void end_unhandled() {
    if (!running_worker) std::abort();
    std::printf("Unhandled exception at worker '%s'\n", running_worker);
    fatal_exit();
}

abstract_worker::abstract_worker(const run_flag* running, const char* name, std::int32_t poll_timeout_us,
                                 std::uint32_t restart_delay_us)
    : running_(running),
      name_(name),
      poll_timeout_us_(poll_timeout_us),
      restart_delay_us_(restart_delay_us),
      last_time_(sys::monotonic_now()),
      event_fd_(eventfd(0, EFD_CLOEXEC)) {}

abstract_worker::~abstract_worker() = default;

bool abstract_worker::start(int ended_fd) {
    ended_fd_ = ended_fd;
    started_ = pthread_create(&thread_, nullptr, thread_entry, this) == 0;
    return started_;
}

void* abstract_worker::thread_entry(void* self) {
    auto& worker = *static_cast<abstract_worker*>(self);
    worker.run();
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = worker.ended_fd_ != -1 ? write(worker.ended_fd_, &one, sizeof one) : 0;
    return nullptr;
}

void abstract_worker::join() {
    if (started_) pthread_join(thread_, nullptr);
    started_ = false;
}

void abstract_worker::run() {
    name_thread(name_);
    running_worker = name_;
    pulse_.start(now_s());
    while (running_->load(std::memory_order_relaxed)) {
        now_s();
        initialized_ = init();
        active_ = initialized_;
        while (active_ && is_alive(running_)) {
            now_s();
            if (process() && poll_timeout_us_ > 0 && event_fd_) wait_for_event(poll_timeout_us_ / 1000);
        }
        if (initialized_) {
            deinit();
            initialized_ = false;
        }
        if (running_->load(std::memory_order_relaxed)) sys::sleep_us(restart_delay_us_);
        active_ = false;
    }
    pulse_.stop();
    running_worker = nullptr;
}

void abstract_worker::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = event_fd_ ? write(event_fd_.get(), &one, sizeof one) : 0;
}

void abstract_worker::ask_status(int told_fd) {
    status_.ask(told_fd);
    // Past overrides, which wake only who waits already: between its clock reading and its wait it would not notice.
    abstract_worker::wake();
}

std::int64_t abstract_worker::clock_age_s() const {
    const auto now = static_cast<std::uint32_t>(sys::monotonic_now().tv_sec);
    return static_cast<std::int32_t>(now - last_reading_.load(std::memory_order_relaxed));
}

void abstract_worker::wait_for_event(int timeout_ms) {
    if (sys::wait_readable(event_fd_.get(), timeout_ms) == 1) take_event();
}

void abstract_worker::take_event() {
    std::uint64_t count;
    // Nobody else reads the counter, so this does not block; a failure leaves it for the next turn.
    [[maybe_unused]] const ssize_t got = read(event_fd_.get(), &count, sizeof count);
}

int abstract_worker::until_next_timer_ms(int longest) {
    if (timers_.empty()) return longest;
    const std::int64_t wait_ms = std::max<std::int64_t>(timers_.front().due * 1000 - monotonic_ms(), 0);
    return static_cast<int>(std::min<std::int64_t>(wait_ms, longest));
}

void abstract_worker::add_timer(callback run, std::int32_t id, std::int64_t delay_s) {
    const std::int64_t due = now_s() + std::clamp<std::int64_t>(delay_s, 0, longest_delay_s);
    const auto later = [due](const timer_node& node) { return node.due > due; };
    timers_.insert(std::find_if(timers_.begin(), timers_.end(), later), timer_node{std::move(run), id, due});
}

void abstract_worker::remove_timers(std::int32_t id) {
    timers_.remove_if([id](const timer_node& node) { return node.id == id; });
}

void abstract_worker::visit_timers(function_ref<void(std::int32_t, std::int64_t)> visit) {
    const std::int64_t now = now_s();
    for (const timer_node& timer : timers_)
        visit(timer.id, timer.due - now);
}

bool abstract_worker::run_timers() {
    const std::int64_t now = now_s();
    const auto end =
        std::find_if(timers_.begin(), timers_.end(), [now](const timer_node& node) { return node.due > now; });
    std::list<timer_node> due;
    due.splice(due.end(), timers_, timers_.begin(), end);
    for (const timer_node& node : due)
        node.run();
    return !due.empty();
}

std::int64_t abstract_worker::now_s() {
    const std::int64_t now = time_monotonic(last_time_);
    pulse_.beat(now);
    last_reading_.store(static_cast<std::uint32_t>(now), std::memory_order_relaxed);
    if (status_.asked() && !telling_) {
        telling_ = true;  // what it tells may read the clock
        status_.tell(describe_status());
        telling_ = false;
    }
    // Once told to stop, the main thread sees to it that the end comes in time.
    if (!running_->load(std::memory_order_relaxed)) return now;
    const std::int64_t silence = pulse::longest_silence(now);
    if (silence > watchdog_gap_s) {
        timespec last{};
        last.tv_sec = static_cast<time_t>(now - silence);
        time_monotonic(last);
    }
    return now;
}

std::int64_t abstract_worker::time_monotonic(timespec& last) {
    timespec now = sys::monotonic_now();
    for (int count = 0; last.tv_sec + watchdog_gap_s < now.tv_sec || now.tv_sec < last.tv_sec;) {
        log_debug(process_log, "%s: Time error, need restart, expired [%u] [%u] cnt %d\n", "time_monotonic",
                  static_cast<unsigned>(now.tv_sec), static_cast<unsigned>(last.tv_sec), count);
        if (++count == watchdog_retries) fatal_exit();
        now = sys::monotonic_now();
    }
    last = now;
    return now.tv_sec;
}

}  // namespace ravd

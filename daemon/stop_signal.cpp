#include "daemon/stop_signal.h"

#include <sys/time.h>

#include <atomic>
#include <csignal>
#include <cstdlib>

#include "core/logger.h"
#include "daemon/run_flags.h"

namespace ravd {
namespace {

std::atomic<bool> signal_seen{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler stores into it");

}  // namespace

extern "C" {
static void ravd_handle_signal(int) {
    signal_seen.store(true, std::memory_order_relaxed);
    roam_bus_running.store(false, std::memory_order_relaxed);
    roam_link_running.store(false, std::memory_order_relaxed);
    agent_running.store(false, std::memory_order_relaxed);
    agent_link_running.store(false, std::memory_order_relaxed);
}

static void ravd_end_process(int) { std::_Exit(0); }
}

void install_stop_handler() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTERM, ravd_handle_signal);
    std::signal(SIGINT, ravd_handle_signal);
}

bool stop_requested() { return signal_seen.load(std::memory_order_relaxed); }

void log_stop_signal() {
    if (stop_requested()) log_debug(process_log, "ravd_handle_signal: TERM\n");
}

void end_process_after(std::int64_t ms) {
    std::signal(SIGALRM, ravd_end_process);
    itimerval once{};
    once.it_value.tv_sec = static_cast<time_t>(ms / 1000);
    once.it_value.tv_usec = static_cast<suseconds_t>(ms % 1000) * 1000;
    setitimer(ITIMER_REAL, &once, nullptr);
}

}  // namespace ravd

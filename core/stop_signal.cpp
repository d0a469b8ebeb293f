#include "core/stop_signal.h"

#include <atomic>
#include <csignal>

#include "core/agent_config.h"
#include "core/logger.h"

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
}

void install_stop_handler() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTERM, ravd_handle_signal);
    std::signal(SIGINT, ravd_handle_signal);
}

void log_stop_signal() {
    if (signal_seen.exchange(false, std::memory_order_relaxed)) log_debug(process_log, "ravd_handle_signal: TERM\n");
}

}  // namespace ravd

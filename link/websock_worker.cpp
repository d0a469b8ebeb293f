#include "link/websock_worker.h"

#include <algorithm>
#include <utility>

#include "core/logger.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr std::int32_t poll_timeout_us = 100000;
constexpr std::uint32_t restart_delay_us = 1000000;
constexpr int idle_wait_ms = 1000;
constexpr int full_queue_wait_ms = 100;

void hook_roaming(int level, const char* line) {
    log_debug(process_log, "portal->libwebsocket-debug> %d: %s", level, line);
}

void hook_corvane(int level, const char* line) {
    log_debug(process_log, "rrm->libwebsocket-debug> %d: %s", level, line);
}

}  // namespace

websock_worker::websock_worker(safe_queue& input, safe_queue& output, const char* host, const char* path,
                               std::uint32_t port, const run_flag* running, std::uint32_t initial_delay_s,
                               std::uint32_t max_delay_s, int mode, tls_settings tls, resolver::lookup_function lookup)
    : abstract_worker(running, mode == roaming_mode ? "websock-roaming" : "websock-rrm", poll_timeout_us,
                      restart_delay_us),
      agent_mode_(mode == corvane_mode),
      target_{host, path, port, std::move(tls)},
      resolver_(target_.host, std::move(lookup)),
      backoff_(initial_delay_s, max_delay_s),
      outage_(name(), target_.host + ":" + std::to_string(port)),
      status_(output, agent_mode_),
      incoming_(name()),
      outgoing_(input, *this, name(), [this](const buffer_info_t& buffer) { return handle_internal(buffer); }),
      connection_(name(), mode == roaming_mode ? hook_roaming : hook_corvane) {}

websock_worker::~websock_worker() {
    if (initialized_ || connection_.is_open()) deinit();
}

void websock_worker::reconnect() {
    reconnect_ = true;
    wake();
}

bool websock_worker::process() {
    if (reconnect_.exchange(false)) {
        outage_.note("a reconnection was asked for");
        life_.alive = false;
    }
    status_.flush();
    if (life_.established && keep_alive_.is_due()) connection_.ask_to_write();
    if (!agent_mode_) memory_.rest(monotonic_ms());
    if (!connection_.service(longest_wait_ms())) life_.alive = false;
    status_.announce();
    if (!life_.established && life_.alive && now_s() >= life_.connect_deadline_s) {
        log_debug(process_log, "%s->%s:%d\n", name(), "connect_timeout", __LINE__);
        outage_.note("no answer within 20 s");
        life_.alive = false;
    }
    run_timers();
    return false;
}

// Whatever else ends the wait does so at once: the socket, a message to send.
int websock_worker::longest_wait_ms() {
    if (!status_.flush()) return full_queue_wait_ms;
    const int until_timer = until_next_timer_ms(idle_wait_ms);
    return life_.established ? keep_alive_.until_due_ms(until_timer) : until_timer;
}

void websock_worker::deinit() {
    log_debug(process_log, "%s->Stopping\n", name());
    if (agent_mode_ && life_.established) drop_messages();
    send_link_status(false);
    life_.established = false;
    remove_timers(ping_timer);
    connection_.close();
    status_.announce();
    incoming_.clear();
}

// An order of a dead link is not obeyed, and what was meant for it is not for the next.
void websock_worker::drop_messages() {
    const std::size_t unread = status_.drop_unread();
    const std::size_t unsent = outgoing_.drop_all();
    record_.dropped(unread, unsent);
    if (unread + unsent > 0)
        log_warning(process_log, "%s: the link ended with %u messages unread and %u unsent, they are dropped\n", name(),
                    static_cast<unsigned>(unread), static_cast<unsigned>(unsent));
}

bool websock_worker::is_alive(const run_flag* running) {
    return running->load(std::memory_order_relaxed) && life_.alive;
}

}  // namespace ravd

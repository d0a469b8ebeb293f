#include "link/websock_worker.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "core/logger.h"
#include "link/library.h"

namespace ravd {
namespace {

constexpr std::int32_t poll_timeout_us = 100000;
constexpr std::uint32_t restart_delay_us = 1000000;
constexpr std::uint32_t longest_delay_s = 1000000;

constexpr std::int64_t service_wait_us = 100 * 1000;
constexpr std::int64_t moving_data_us = 50 * 1000;  // how long one turn goes on while data moves

constexpr std::int32_t ping_timer = 0;
constexpr std::int64_t ping_timeout_s = 60;

void end_of_wait(lws_sorted_usec_list_t*) {}

}  // namespace

lws_callback current_lws_callback;

int lws_dispatch(lws* wsi, lws_callback_reasons reason, void* user, void* in, std::size_t len) {
    if (current_lws_callback) return current_lws_callback(wsi, reason, user, in, len);
    log_warning(process_log, "trying to call empty lws callback\n");
    return 0;
}

websock_worker::websock_worker(safe_queue& input, safe_queue& output, const char* host, const char* path,
                               std::uint32_t port, const run_flag* running, std::uint32_t initial_delay_s,
                               std::uint32_t max_delay_s, int mode, resolver::lookup_function lookup)
    : abstract_worker(running, mode == roaming_mode ? "websock-roaming" : "websock-rrm", poll_timeout_us,
                      restart_delay_us),
      mode_(mode),
      input_(input),
      output_(output),
      host_(host),
      path_(path),
      port_(port),
      resolver_(host_, std::move(lookup)),
      library_(std::make_unique<library>()),
      rx_buffer_(make_buffer()),
      initial_delay_(std::min(initial_delay_s, longest_delay_s)),
      max_delay_(std::min(max_delay_s, longest_delay_s)) {
    current_delay_ = initial_delay_;
}

websock_worker::~websock_worker() {
    if (initialized_ || context_) deinit();
}

bool websock_worker::process() {
    flush_link_status();
    service_link();
    if (!established_ && alive_ && now_s() >= connect_deadline_s_) {
        log_debug(process_log, "%s->%s:%d\n", name(), "connect_timeout", __LINE__);
        alive_ = false;
    }
    run_timers();
    return true;
}

// Once, and again at once while data moves: libwebsockets reads and writes one piece a pass. What then still moves
// shortens the wait that follows, for a turn must end to read the clock and the run flag.
void websock_worker::service_link() {
    const std::int64_t start = lws_now_usecs();
    std::int64_t limit = service_wait_us;
    while (context_) {
        data_moved_ = false;
        const std::int64_t pass_start = lws_now_usecs();
        service_once(limit);
        const std::int64_t now = lws_now_usecs();
        const bool moving = data_moved_ || (output_pending() && now - pass_start < limit);
        if (!alive_ || !(moving || (limit == 0 && output_pending()))) return;
        const std::int64_t left = moving_data_us - (now - start);
        if (left <= 0 || progress().cancelled()) {
            if (moving) end_wait();
            return;
        }
        limit = data_moved_ ? 0 : left;
    }
}

// One pass, at most `limit_us`. That needs a timer of libwebsockets: it takes no notice of a timeout given to it.
void websock_worker::service_once(std::int64_t limit_us) {
    int result;
    if (limit_us > 0) {
        lws_sul_schedule(context_, 0, &library_->wait_limit, end_of_wait, limit_us);
        result = lws_service(context_, static_cast<int>(service_wait_us / 1000));
    } else {
        result = lws_service_tsi(context_, -1, 0);  // looks without waiting
    }
    if (result < 0) alive_ = false;
}

// libwebsockets holds a part of a frame that the socket did not take. Writing then would put a frame into the middle
// of another.
bool websock_worker::output_pending() const { return wsi_ && lws_partial_buffered(wsi_) != 0; }

void websock_worker::deinit() {
    input_.set_notify({});
    lws_context* context;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        log_debug(process_log, "%s->Stopping\n", name());
        send_link_status(false);
        established_ = false;
        remove_timers(ping_timer);
        context = std::exchange(context_, nullptr);
    }
    // Outside the lock, because it calls back.
    if (context) destroy_context(context);
    current_lws_callback = nullptr;
    wsi_ = nullptr;
    rx_buffer_ = make_buffer();
    rx_skipping_ = false;
}

// The timer of the wait must not outlive its context.
void websock_worker::destroy_context(lws_context* context) {
    lws_sul_schedule(context, 0, &library_->wait_limit, end_of_wait, LWS_SET_TIMER_USEC_CANCEL);
    lws_context_destroy(context);
}

bool websock_worker::is_alive(const run_flag* running) { return running->load(std::memory_order_relaxed) && alive_; }

void websock_worker::wake() {
    // One signal serves all that is pushed until the queue is drained next.
    if (wake_pending_.exchange(true)) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!context_ || !established_) return;
    end_wait();
    // With debug output on the library formats its own lines into one buffer without a lock, from this call too: the
    // event descriptor alone must do then, and a pass of the library that waits goes on for at most 100 ms.
    if (!debug_enabled()) lws_cancel_service(context_);
}

// Ends the wait on the event descriptor, the running one or the next.
void websock_worker::end_wait() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(event_fd(), &one, sizeof one);
}

void websock_worker::arm_ping_timeout() {
    remove_timers(ping_timer);
    add_timer([this] { ping_timeout(); }, ping_timer, ping_timeout_s);
}

void websock_worker::ping_timeout() {
    log_debug(process_log, "%s->%s:%d\n", name(), "ping_timeout", __LINE__);
    active_ = false;
}

}  // namespace ravd

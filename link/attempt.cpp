// From the back-off to a started connection.

#include <algorithm>

#include "core/logger.h"
#include "link/websock_worker.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::int64_t longest_pause_ms = 1000;
constexpr std::int64_t resolve_limit_s = 10;

}  // namespace

bool websock_worker::init() {
    run_timers();
    send_link_status(false);
    wait_before_connect();
    if (progress().cancelled() || life_.unlinked || !resolve_host(address_)) return false;
    return connect(address_);
}

void websock_worker::wait_before_connect() {
    const std::uint32_t delay = backoff_.next_delay();
    if (!life_.unlinked) outage_.report(delay);
    const std::int64_t deadline = now_s() + delay;
    record_.begin_wait(now_s(), deadline);
    do {
        wait_for_message(deadline);
        if (progress().cancelled()) return;
    } while (now_s() < deadline && !reconnect_.exchange(false));
}

// Takes one message: an internal one is answered, for others there is nowhere to go. Waits where there is none.
void websock_worker::wait_for_message(std::int64_t deadline_s) {
    status_.flush();
    if (outgoing_.take_one()) return;
    const timespec now = sys::monotonic_now();
    const std::int64_t left_ms = (deadline_s - now.tv_sec) * 1000 - now.tv_nsec / 1000000;
    wait_for_event(static_cast<int>(std::clamp<std::int64_t>(left_ms, 1, longest_pause_ms)));
}

bool websock_worker::resolve_host(std::string& address) {
    record_.begin_attempt(now_s());
    address.clear();
    if (!target_.host.empty() && resolver_.start(event_fd())) {
        const std::int64_t deadline = now_s() + resolve_limit_s;
        while (!resolver_.ended()) {
            wait_for_message(deadline);
            if (progress().cancelled()) return false;
            if (now_s() >= deadline) {
                log_debug(process_log, "%s->No answer about the address of %s\n", name(), target_.host.c_str());
                outage_.note("no answer about its address");
                return false;
            }
        }
        address = resolver_.take();
    }
    if (!address.empty()) return true;
    log_debug(process_log, "%s->No address of %s\n", name(), target_.host.c_str());
    outage_.note("it has no address");
    return false;
}

bool websock_worker::connect(const std::string& address) {
    life_.alive = true;
    life_.connect_deadline_s = now_s() + connection::connect_limit_s;
    const auto on_event = [this](lws* wsi, int reason, void* user, void* in, std::size_t len) {
        return on_lws_event(wsi, reason, user, in, len);
    };
    if (connection_.open(target_, address, event_fd(), on_event)) return true;
    note_failure("the connection cannot be started");
    return false;
}

// Of an attempt. What TLS knows about it is nearer to the cause.
void websock_worker::note_failure(std::string_view reason) {
    const std::string& tls = connection_.tls_failure();
    outage_.note(tls.empty() ? reason : tls);
}

}  // namespace ravd

// The worker that keeps the websocket link to the service and moves whole text messages between it and two queues.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/buffer.h"
#include "core/heap.h"
#include "core/safe_queue.h"
#include "core/worker.h"
#include "link/backoff.h"
#include "link/connection.h"
#include "link/incoming_message.h"
#include "link/keep_alive.h"
#include "link/link_record.h"
#include "link/link_status.h"
#include "link/outage_log.h"
#include "link/outgoing_frames.h"
#include "link/resolver.h"

namespace ravd {

// Which link a worker keeps; also fixes its name, which is the sub-protocol offered to the service.
constexpr int roaming_mode = 0;  // "websock-roaming"
constexpr int corvane_mode = 1;  // "websock-rrm"

// Reconnects with a randomised exponential back-off, pings every 30 s, and tells its consumer about the link with
// "internal-ipc" messages. Everything runs on the worker's own thread.
class websock_worker final : public abstract_worker {
  public:
    // Sends what is popped from `input`, pushes what is received into `output`; both outlive the worker. The texts are
    // copied. Delays are clamped to 0 .. 1,000,000 s; `lookup` turns the host's name into addresses on a thread of its
    // own.
    websock_worker(safe_queue& input, safe_queue& output, const char* host, const char* path, std::uint32_t port,
                   const run_flag* running, std::uint32_t initial_delay_s, std::uint32_t max_delay_s, int mode,
                   tls_settings tls = {}, resolver::lookup_function lookup = look_up_addresses);
    ~websock_worker() override;

    // Waits the back-off, serving internal messages meanwhile, and starts the connection.
    bool init() override;
    // Serves the connection, waiting at most 1 s while there is nothing to do, and runs due timers. Always false: what
    // there is to wait for it has waited for.
    bool process() override;
    void deinit() override;
    bool is_alive(const run_flag* running) override;

    // What libwebsockets reports; `reason` is one of lws_callback_reasons. Always 0.
    int on_lws_event(lws* wsi, int reason, void* user, void* in, std::size_t len);

    // Obeys an internal message. True: it was one and is consumed; false: it goes to the service.
    bool handle_internal(const buffer_info_t& buffer);

    // From any thread: ends the link, or the wait for the next attempt.
    void reconnect();

    // Tells the consumer. What a full queue refuses is repeated on later turns, in order.
    void send_link_status(bool connected) { status_.send(connected); }

  private:
    // Of the attempt and of the link that comes of it.
    struct attempt_life {
        bool alive = false;
        bool established = false;
        bool unlinked = false;  // never cleared
        std::int64_t connect_deadline_s = 0;
    };

    std::string describe_status() override;

    static constexpr std::int32_t ping_timer = 0;

    // attempt.cpp
    void wait_before_connect();
    void wait_for_message(std::int64_t deadline_s);
    bool resolve_host(std::string& address);
    bool connect(const std::string& address);
    void note_failure(std::string_view reason);

    // websock_worker.cpp
    void ping_timeout();
    int longest_wait_ms();
    void drop_messages();

    // events.cpp
    void process_client_connection_error(const char* reason, std::size_t len);
    void process_client_established(lws* wsi);
    void process_closed();
    void process_client_receive(lws* wsi, const char* in, std::size_t len);
    void process_client_writeable(lws* wsi);
    void process_internal_unlink();
    void arm_ping_timeout();

    const bool agent_mode_;
    const link_target target_;
    std::string address_;  // of the last attempt
    resolver resolver_;
    backoff backoff_;
    outage_log outage_;
    link_status status_;
    incoming_message incoming_;
    outgoing_frames outgoing_;
    keep_alive keep_alive_;
    connection connection_;
    link_record record_;

    free_memory memory_;  // in agent mode the agent sees to that
    std::atomic<bool> reconnect_{false};
    attempt_life life_;
};

}  // namespace ravd

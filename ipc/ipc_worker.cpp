#include "ipc/ipc_worker.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/logger.h"
#include "ipc/ipc_helper.h"
#include "message/status_page.h"
#include "platform/mbus.h"
#include "platform/mbus_row.h"
#include "platform/mbus_wait.h"

namespace ravd {
namespace {

constexpr std::int32_t idle_wait_us = 100000;
// Where the bus is served in the wait, nothing but the loss of the endpoint's place is left to be looked after. Of the
// three workers this one can best do with a look every other second, well within the watchdog's 10 s: the link and the
// agent wake once a second and at each ping and its answer.
constexpr int served_wait_ms = 2000;
// Neither side keeps the other waiting for longer: what comes over the bus is looked for after so many buffers.
constexpr unsigned unserved_limit = 64;
// Messages that come together are announced together: whoever waits for them wakes less often.
constexpr unsigned unannounced_limit = 64;
constexpr std::uint32_t retry_us = 1000000;

}  // namespace

ipc_worker::ipc_worker(const run_flag* running, std::int32_t module_id, safe_queue& out_queue, safe_queue& in_queue)
    : abstract_worker(running, "ipc", idle_wait_us, retry_us),
      out_queue_(out_queue),
      in_queue_(in_queue),
      module_id_(module_id) {
    in_queue_.set_notify([this] { on_push(); });
}

ipc_worker::~ipc_worker() {
    in_queue_.set_notify({});
    ipc_worker::deinit();
}

bool ipc_worker::init() {
    mbus_endpoint* const bus = mbus_init(module_id_, bus_registration, sizeof bus_registration);
    if (!bus) {
        if (!refused_)
            log_error(process_log,
                      "number %d on the bus is not to be had: another process has it, or there is no bus\n",
                      module_id_);
        refused_ = true;
        return false;
    }
    refused_ = false;
    mbus_set_moduleloop(bus, 0);
    if (mbus_get_moduleloop(bus) != 0) {
        mbus_release(bus);
        return false;
    }
    const std::lock_guard<std::mutex> lock(moving_);
    serves_ = mbus_serve_in_waits(bus);
    set_poll_timeout(serves_ ? 0 : idle_wait_us);
    mbus_peer_start(bus);
    bus_ = bus;
    return true;
}

void ipc_worker::deinit() {
    mbus_endpoint* bus;
    announce();
    {
        const std::lock_guard<std::mutex> lock(moving_);
        bus = std::exchange(bus_, nullptr);
        waiting_ = false;
    }
    if (bus) mbus_release(bus);
}

bool ipc_worker::is_alive(const run_flag* running) {
    return running->load(std::memory_order_relaxed) && bus_ && mbus_get_moduleloop(bus_) != 0;
}

bool ipc_worker::process() {
    const unsigned unannounced = unannounced_;
    bool idle;
    {
        const std::lock_guard<std::mutex> lock(moving_);
        if (!bus_) return false;
        // What is pushed after this look is sent by whoever pushes it.
        idle = waiting_ = !move_one();
    }
    if (unannounced_ == unannounced || unannounced_ >= unannounced_limit) announce();
    if (idle || unserved_ >= unserved_limit) serve_bus(idle ? served_wait_ms : 0);
    return idle;
}

void ipc_worker::announce() {
    if (unannounced_ > 0) out_queue_.announce();
    unannounced_ = 0;
}

void ipc_worker::serve_bus(int limit_ms) {
    unserved_ = 0;
    if (serves_ && mbus_wait(bus_, event_fd(), limit_ms)) take_event();
}

// Sent here, a message arrives sooner than another thread would wake, and costs no switch to it.
void ipc_worker::on_push() {
    const std::lock_guard<std::mutex> lock(moving_);
    if (!waiting_) return;
    if (!serves_ || mbus_get_moduleloop(bus_) == 0) {  // it keeps for the next endpoint what this one would lose
        waiting_ = false;
        return wake();
    }
    while (send_one()) {
    }
    mbus_end_row(bus_);
}

bool ipc_worker::move_one() {
    if (void* block = mbus_get_msg_from_queue_no_wait(bus_)) {
        mbus_end_row(bus_);
        forward(static_cast<unsigned char*>(block));
        return true;
    }
    if (send_one()) {
        ++unserved_;
        return true;
    }
    mbus_end_row(bus_);
    return false;
}

bool ipc_worker::send_one() {
    return in_queue_.pop([this](const std::shared_ptr<buffer_info_t>& buffer) { send_to_bus(buffer); });
}

void ipc_worker::forward(unsigned char* block) {
    const auto buffer = make_buffer();
    buffer->size = mbus_payload_length(block);
    if (buffer->size == 0) {
        std::free(block);
    } else {
        // The header's place is room enough for the final NUL.
        std::memmove(block, block + mbus_header_size, buffer->size);
        block[buffer->size] = '\0';
        buffer->data = reinterpret_cast<char*>(block);
        ++received_;
    }
    ++unannounced_;
    if (!out_queue_.push_quietly(buffer))
        log_debug(process_log, "%s->%s:%d queue is full\n", name(), __func__, __LINE__);
}

void ipc_worker::send_to_bus(const std::shared_ptr<buffer_info_t>& buffer) {
    if (!buffer || !buffer->data || !buffer->size) return;
    const auto send = in_queue_.size() > 0 ? mbus_msg_send_in_row : mbus_msg_send;
    send(bus_, buffer->data, bus_module_peer, buffer->size);
    ++sent_;
}

std::string ipc_worker::describe_status() {
    const std::lock_guard<std::mutex> lock(moving_);
    status_page page;
    page.open("bus");
    page.number("number", module_id_);
    page.text("state", bus_ ? "registered" : refused_ ? "refused" : "starting");
    page.open("counted");
    page.number("received_messages", static_cast<std::int64_t>(received_));
    page.number("sent_messages", static_cast<std::int64_t>(sent_));
    page.close();
    page.close();
    return page.take();
}

}  // namespace ravd

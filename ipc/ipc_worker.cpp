#include "ipc/ipc_worker.h"

#include <cstdlib>

#include "core/logger.h"
#include "ipc/ipc_helper.h"
#include "platform/mbus.h"

namespace ravd {
namespace {

constexpr std::int32_t idle_wait_us = 100000;
constexpr std::uint32_t retry_us = 1000000;

std::uint32_t payload_length(const unsigned char* block) {
    std::uint32_t length = 0;
    for (unsigned i = 0; i < 4; ++i)
        length |= static_cast<std::uint32_t>(block[mbus_length_offset + i]) << (8 * i);
    return length;
}

}  // namespace

ipc_worker::ipc_worker(const run_flag* running, std::int32_t module_id, safe_queue& out_queue, safe_queue& in_queue)
    : abstract_worker(running, "ipc", idle_wait_us, retry_us),
      out_queue_(out_queue),
      in_queue_(in_queue),
      module_id_(module_id) {}

ipc_worker::~ipc_worker() { ipc_worker::deinit(); }

bool ipc_worker::init() {
    bus_ = mbus_init(module_id_, bus_registration, sizeof bus_registration);
    if (!bus_) return false;
    mbus_set_moduleloop(bus_, 0);
    if (mbus_get_moduleloop(bus_) != 0) {
        deinit();
        return false;
    }
    mbus_peer_start(bus_);
    return true;
}

void ipc_worker::deinit() {
    mbus_release(bus_);
    bus_ = nullptr;
}

bool ipc_worker::is_alive(const run_flag* running) {
    return running->load(std::memory_order_relaxed) && bus_ && mbus_get_moduleloop(bus_) != 0;
}

bool ipc_worker::process() {
    if (!bus_) return false;
    if (void* block = mbus_get_msg_from_queue_no_wait(bus_)) {
        forward(static_cast<const unsigned char*>(block));
        std::free(block);
        return false;
    }
    return !in_queue_.pop([this](const std::shared_ptr<buffer_info_t>& buffer) { send_to_bus(buffer); });
}

void ipc_worker::forward(const unsigned char* block) {
    const std::uint32_t length = payload_length(block);
    if (length > mbus_message_limit) return;  // not a block of this bus
    const auto buffer = make_buffer();
    const auto* payload = reinterpret_cast<const char*>(block + mbus_header_size);
    if (length > 0 && !buffer->append(payload, length)) return;
    if (!out_queue_.push(buffer)) log_debug(process_log, "%s->%s:%d queue is full\n", name(), __func__, __LINE__);
}

void ipc_worker::send_to_bus(const std::shared_ptr<buffer_info_t>& buffer) const {
    if (buffer && buffer->data && buffer->size) mbus_msg_send(bus_, buffer->data, bus_module_peer, buffer->size);
}

}  // namespace ravd

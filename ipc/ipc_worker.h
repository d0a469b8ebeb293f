// Joins two of the daemon's queues to the device's message bus.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "core/safe_queue.h"
#include "core/worker.h"

struct mbus_endpoint;

namespace ravd {

// What arrives on the bus goes into `out_queue`; what `in_queue` holds goes to bus module 3. The contents do not
// matter.
class ipc_worker final : public abstract_worker {
  public:
    // The queues outlive the worker. `module_id` is the number registered on the bus.
    ipc_worker(const run_flag* running, std::int32_t module_id, safe_queue& out_queue, safe_queue& in_queue);
    ~ipc_worker() override;

    bool init() override;
    bool process() override;
    void deinit() override;
    bool is_alive(const run_flag* running) override;
    // Costs a system call only while the worker waits or is about to.
    void wake() override;

  private:
    std::string describe_status() override;
    bool move_one();                     // one message of the bus, else one buffer; false when there is neither
    void serve_bus(int limit_ms);        // waits as long at most, for the bus or for wake()
    void forward(unsigned char* block);  // a received block, which becomes the buffer's, into out_queue
    void send_to_bus(const std::shared_ptr<buffer_info_t>& buffer);

    mbus_endpoint* bus_ = nullptr;  // null while not connected
    safe_queue& out_queue_;
    safe_queue& in_queue_;
    std::int32_t module_id_;
    bool refused_ = false;   // said already that the number is not to be had
    bool serves_ = false;    // the bus moves while this worker waits for it
    unsigned unserved_ = 0;  // buffers taken since the bus was looked at
    std::uint64_t received_ = 0;
    std::uint64_t sent_ = 0;
    std::atomic<bool> waiting_{false};  // found nothing at its first look: wake() has to end the wait
};

}  // namespace ravd

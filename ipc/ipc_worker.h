// Joins two of the daemon's queues to the device's message bus.
#pragma once

#include <cstdint>
#include <memory>

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

  private:
    void forward(const unsigned char* block);  // a received block into out_queue
    void send_to_bus(const std::shared_ptr<buffer_info_t>& buffer) const;

    mbus_endpoint* bus_ = nullptr;  // null while not connected
    safe_queue& out_queue_;
    safe_queue& in_queue_;
    std::int32_t module_id_;
};

}  // namespace ravd

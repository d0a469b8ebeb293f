// Joins two of the daemon's queues to the device's message bus.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
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

  private:
    std::string describe_status() override;
    void on_push();                      // what the queue calls, on the thread of whoever pushed
    bool move_one();                     // one message of the bus, else one buffer; false when there is neither
    bool send_one();                     // one buffer; false when there is none
    void announce();                     // what was forwarded and nobody told of
    void serve_bus(int limit_ms);        // waits as long at most, for the bus or for wake()
    void forward(unsigned char* block);  // a received block, which becomes the buffer's, into out_queue
    void send_to_bus(const std::shared_ptr<buffer_info_t>& buffer);

    safe_queue& out_queue_;
    safe_queue& in_queue_;
    std::int32_t module_id_;
    bool refused_ = false;      // said already that the number is not to be had
    unsigned unannounced_ = 0;  // messages in out_queue_ that nobody was told of
    unsigned unserved_ = 0;     // buffers taken since the bus was looked at
    // Guards what follows: while this worker waits, whoever pushes sends.
    std::mutex moving_;
    mbus_endpoint* bus_ = nullptr;  // null while not connected; changed by this worker's thread
    bool serves_ = false;           // the bus moves while this worker waits for it
    bool waiting_ = false;          // it found nothing at its last look
    std::uint64_t received_ = 0;
    std::uint64_t sent_ = 0;
};

}  // namespace ravd

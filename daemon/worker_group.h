// The threads of one run mode, as the main thread sees them.
#pragma once

#include <csignal>
#include <cstdint>
#include <vector>

#include "core/worker.h"
#include "daemon/control_server.h"
#include "platform/unique_fd.h"

namespace ravd {

// Only on the main thread, and one at a time. From its construction on SIGTERM and SIGINT are blocked, in the workers'
// threads too: they arrive inside wait(), which so learns of them without a lock and without looking at times.
class worker_group {
  public:
    // `control` is served meanwhile, and asks each worker that is started.
    explicit worker_group(control_server& control);
    worker_group(const worker_group&) = delete;
    worker_group& operator=(const worker_group&) = delete;

    // Ends the process with status 255 when there can be no thread.
    void start(abstract_worker& worker);

    // Returns when all threads have ended, so that joining them does not block. A signal is logged as soon as it comes.
    // A thread that still runs 2.5 s later is stuck: the process then ends with status 0 at once, for no destructor may
    // run under a live thread. What hangs after this call, in a destructor or in the log, is cut off 2.8 s after the
    // signal in the same way.
    void wait();

  private:
    void wait_for_event(const timespec* limit);

    control_server& control_;
    unique_fd ended_fd_;  // event descriptor: counts the threads that ended
    std::vector<abstract_worker*> started_;
    std::uint64_t ended_ = 0;
    sigset_t waiting_mask_;
};

}  // namespace ravd

#include "daemon/worker_group.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/logger.h"
#include "daemon/stop_signal.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr std::int64_t thread_limit_ms = 2500;
constexpr std::int64_t process_limit_ms = 2800;

timespec in_ms(std::int64_t ms) { return {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000}; }

}  // namespace

worker_group::worker_group(control_server& control) : control_(control), ended_fd_(eventfd(0, EFD_CLOEXEC)) {
    if (!ended_fd_ || ended_fd_.get() >= FD_SETSIZE) {
        log_error(process_log, "No descriptor to wait on\n");
        fatal_exit();
    }
    // Whoever started the daemon may have blocked them.
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int number : {SIGTERM, SIGINT, SIGALRM})
        sigaddset(&wanted, number);
    pthread_sigmask(SIG_UNBLOCK, &wanted, nullptr);
    sigdelset(&wanted, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &wanted, &waiting_mask_);
}

void worker_group::start(abstract_worker& worker) {
    if (!worker.start(ended_fd_.get())) {
        log_error(process_log, "No thread for a worker\n");
        fatal_exit();
    }
    control_.ask_also(worker);
    started_.push_back(&worker);
}

// Until a thread ends, a signal comes, somebody asks for something or `limit` is over.
void worker_group::wait_for_event(const timespec* limit) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ended_fd_.get(), &readable);
    int highest = ended_fd_.get();
    const std::int64_t due_ms = control_.prepare(readable, highest);
    const timespec due = in_ms(std::max<std::int64_t>(due_ms, 0));
    if (!limit && due_ms >= 0) limit = &due;
    const int ready = pselect(highest + 1, &readable, nullptr, nullptr, limit, &waiting_mask_);
    if (ready < 0) return;
    control_.serve(readable);
    std::uint64_t count = 0;
    if (FD_ISSET(ended_fd_.get(), &readable) && read(ended_fd_.get(), &count, sizeof count) == sizeof count)
        ended_ += count;
}

void worker_group::wait() {
    while (ended_ < started_.size() && !stop_requested())
        wait_for_event(nullptr);
    const std::int64_t deadline = monotonic_ms() + thread_limit_ms;
    end_process_after(process_limit_ms);
    log_stop_signal();
    // They wait for what they move, not for the run flag. Past overrides, which wake only who waits already.
    for (abstract_worker* worker : started_)
        worker->abstract_worker::wake();
    while (ended_ < started_.size()) {
        const std::int64_t left = deadline - monotonic_ms();
        if (left <= 0) {
            log_error(process_log, "A worker is stuck, the process ends without it\n");
            std::fflush(nullptr);
            std::_Exit(0);
        }
        const timespec limit = in_ms(left);
        wait_for_event(&limit);
    }
}

}  // namespace ravd

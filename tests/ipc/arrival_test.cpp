// The bus worker on a real bus and in real time: nothing waits where something is there.
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "ipc/ipc_worker.h"
#include "tests/platform/bus/bus_support.h"
#include "tests/support/message.h"

namespace ravd::testing {
namespace {

using std::chrono::steady_clock;

TEST(IpcArrival, BusAndQueueEndTheWait) {
    sim_directory();
    run_flag running{true};
    safe_queue out, in;
    const unique_fd arrived(eventfd(0, EFD_CLOEXEC));
    out.set_notify([&] { (void)eventfd_write(arrived.get(), 1); });
    ipc_worker worker(&running, 2, out, in);
    auto peer = started(3);
    worker.start();
    while (peer->send(2, "ready") != bus_result::accepted)
        usleep(1000);
    wait_for(arrived.get());
    std::vector<double> delays;
    for (int i = 0; i < 20; ++i) {
        eventfd_t count;
        ASSERT_EQ(eventfd_read(arrived.get(), &count), 0);
        usleep(2000);  // so that the worker waits
        const auto begin = steady_clock::now();
        in.push(message("to the bus"));
        EXPECT_EQ(text_of(take(*peer)), "to the bus");
        usleep(2000);
        ASSERT_EQ(peer->send(2, "from the bus"), bus_result::accepted);
        wait_for(arrived.get());
        delays.push_back(std::chrono::duration<double, std::milli>(steady_clock::now() - begin).count());
    }
    std::sort(delays.begin(), delays.end());
    EXPECT_LT(delays[delays.size() / 2], 10);
    // What the socket does not take at once follows when it does.
    const std::string large(500000, 'x');
    for (int i = 0; i < 40; ++i)
        in.push(message(large));
    for (int i = 0; i < 40; ++i)
        ASSERT_EQ(take(*peer).length, large.size());
    running = false;
    worker.wake();
    worker.join();
}

TEST(IpcArrival, ALongQueueDoesNotKeepTheBusWaiting) {
    sim_directory();
    run_flag running{true};
    safe_queue out, in;
    ipc_worker worker(&running, 2, out, in);
    ASSERT_TRUE(worker.init());
    auto peer = started(3);
    for (int i = 0; i < 1000; ++i)
        in.push(message("to the bus"));
    ASSERT_EQ(peer->send(2, "from the bus"), bus_result::accepted);
    while (out.size() == 0 && in.size() > 0)
        worker.process();
    EXPECT_GT(in.size(), 0u);
}

}  // namespace
}  // namespace ravd::testing

// The bus worker, driven step by step in the test's thread.
#include <gtest/gtest.h>

#include "ipc/ipc_worker.h"
#include "tests/support/fake_bus.h"
#include "tests/support/message.h"

namespace ravd {
namespace {

using testing::fake_bus;
using testing::message;

class IpcWorker : public ::testing::Test {
  protected:
    IpcWorker() { bus.reset(); }
    // The next forwarded message; "-" for none, "null" for a buffer without data.
    std::string forwarded() {
        std::string text = "-";
        out.pop([&](const std::shared_ptr<buffer_info_t>& b) { text = b->data ? std::string(b->text()) : "null"; });
        return text;
    }

    fake_bus& bus = fake_bus::get();
    run_flag running{true};
    safe_queue out, in;
    ipc_worker worker{&running, 31, out, in};
};

TEST_F(IpcWorker, ServesTheBusFirstAndOneBufferAStep) {
    EXPECT_FALSE(worker.process());  // not connected
    ASSERT_TRUE(worker.init());
    const std::string zeros("\0{}\0", 4);
    for (const std::string& text : {std::string("one"), std::string(), zeros})
        bus.deliver(31, text);
    for (const char* text : {"a", "b", "", "c", ""})
        in.push(message(text));
    for (const std::string& text : {std::string("one"), std::string("null"), zeros}) {
        EXPECT_FALSE(worker.process());
        EXPECT_EQ(forwarded(), text);
        EXPECT_TRUE(bus.sent.empty());
    }
    // What is kept back of a row goes before what comes from the bus, and before a rest.
    EXPECT_FALSE(worker.process());
    EXPECT_FALSE(worker.process());
    EXPECT_TRUE(bus.sent.empty());
    bus.deliver(31, "two");
    EXPECT_FALSE(worker.process());
    EXPECT_EQ(forwarded(), "two");
    EXPECT_EQ(bus.sent.size(), 2u);
    for (int step = 0; step < 3; ++step)
        EXPECT_FALSE(worker.process());
    EXPECT_EQ(bus.sent.size(), 2u);
    EXPECT_TRUE(worker.process());
    EXPECT_EQ(bus.sent.size(), 3u);
    EXPECT_EQ(forwarded(), "-");
    EXPECT_EQ(bus.sent[1].text, "b");
    EXPECT_EQ(bus.sent[1].destination, 3);
    EXPECT_EQ(bus.sent[1].source, 31);
    in.push(message("d"));  // while it waits, without a step of its
    EXPECT_EQ(bus.sent.size(), 4u);
}

TEST_F(IpcWorker, ComesBackWhenTheEndpointIsLost) {
    bus.refuse_init = true;
    EXPECT_FALSE(worker.init());
    bus.refuse_init = bus.loop_value_sticks = false;
    EXPECT_FALSE(worker.init());
    EXPECT_FALSE(worker.is_alive(&running));
    bus.loop_value_sticks = true;
    ASSERT_TRUE(worker.init());
    EXPECT_TRUE(worker.is_alive(&running));
    EXPECT_TRUE(worker.process());
    bus.drop(31);
    in.push(message("kept"));
    EXPECT_FALSE(worker.is_alive(&running));
    worker.deinit();
    EXPECT_EQ(bus.endpoints(), 0);
    {
        ipc_worker other(&running, 2, out, in);
        ASSERT_TRUE(other.init());
        EXPECT_FALSE(other.process());
        running = false;
        EXPECT_FALSE(other.is_alive(&running));
    }
    EXPECT_EQ(bus.count_sent("kept"), 1);
    EXPECT_EQ(bus.endpoints(), 0);  // released with the worker
}

}  // namespace
}  // namespace ravd

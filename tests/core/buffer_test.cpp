#include "core/buffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "core/safe_queue.h"
#include "tests/support/message.h"

namespace ravd {
namespace {

using testing::message;

TEST(Buffer, AppendsAndStaysTerminated) {
    buffer_info_t buffer;
    EXPECT_EQ(buffer.append("x", 0), nullptr);
    EXPECT_EQ(buffer.append(nullptr, 4), nullptr);
    EXPECT_EQ(buffer.append("abX", 2), buffer.data);
    EXPECT_EQ(buffer.append("cd", 2), buffer.data);
    EXPECT_EQ(buffer.append(nullptr, 1), buffer.data);
    EXPECT_STREQ(buffer.data, "abcd");
    EXPECT_EQ(buffer.size, 4u);
    // A total beyond 32 bits leaves what is there.
    EXPECT_EQ(buffer.append("e", std::numeric_limits<std::uint32_t>::max() - 4), nullptr);
    EXPECT_EQ(buffer.append("e", std::numeric_limits<std::size_t>::max()), nullptr);
    EXPECT_EQ(buffer.text(), "abcd");
}

TEST(Queue, KeepsOrderAndHandsOverOutsideTheLock) {
    safe_queue queue;
    for (char c = '0'; c <= '9'; ++c)
        ASSERT_TRUE(queue.push(message({&c, 1})));
    std::string order;
    const auto take = [&](auto item) {
        order += item->text();
        ASSERT_TRUE(order.size() != 1 || queue.push(message("again")));  // would hang under the lock
    };
    while (queue.pop(take)) {
    }
    EXPECT_EQ(order, "0123456789again");
    EXPECT_FALSE(queue.pop([](auto) { FAIL() << "nothing was there"; }));
}

TEST(Queue, RefusesBeyondItsLimitCountedWithOverhead) {
    safe_queue queue;
    int notified = 0;
    queue.set_notify([&] { ++notified; });
    int empty = 0;
    while (queue.push(make_buffer()))
        ++empty;
    EXPECT_EQ(empty, notified);
    EXPECT_LT(empty, static_cast<int>(queue_limit / 48)) << "empty messages cost memory too";
    ASSERT_TRUE(queue.pop([](auto) {}));
    EXPECT_TRUE(queue.push(make_buffer())) << "what was taken makes room";
    EXPECT_FALSE(queue.push(make_buffer()));
    while (queue.pop([](auto) {})) {
    }
    EXPECT_TRUE(queue.push(message(std::string(queue_limit - queue_cost(make_buffer()), 'x'))));
    EXPECT_FALSE(queue.push(make_buffer()));
    EXPECT_FALSE(safe_queue().push(message(std::string(queue_limit, 'x'))));
}

}  // namespace
}  // namespace ravd

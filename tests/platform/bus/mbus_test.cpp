#include "platform/mbus.h"

#include <chrono>
#include <thread>

#include "platform/ctree.h"
#include "platform/unique_fd.h"
#include "tests/platform/bus/bus_support.h"
#include "tests/support/allocations.h"

namespace ravd::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

const char registration[] = {-2, 0};
const std::string request = "{\"command\":\"get\",\"path\":\"/x\"}";

std::string answer(const std::string& value) { return "{\"command\":\"get-response\",\"value\":\"" + value + "\"}"; }

class mbus : public ::testing::Test {
  protected:
    mbus() {
        sim_directory();
        bus_ = mbus_init(28, registration, sizeof registration);
        mbus_set_moduleloop(bus_, 0);
    }
    ~mbus() override { mbus_release(bus_); }

    int send(int destination = 1, const std::string& text = request) {
        return mbus_msg_send(bus_, text.data(), destination, text.size());
    }
    // The value of the answer, "none" without one.
    std::string wait(int tenths) {
        ctree* tree = mbus_wait_answer(bus_, "get-response", "Error: can't get config\n", tenths);
        const char* value = ctree_get_param(tree, "value");
        const std::string text = value ? value : "none";
        ctree_release(tree);
        return text;
    }
    // Milliseconds of a wait without an answer.
    long long waited(int tenths) {
        const auto begin = steady_clock::now();
        EXPECT_EQ(wait(tenths), "none");
        return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin).count();
    }

    mbus_endpoint* bus_ = nullptr;
};

TEST_F(mbus, loop_state_and_received_block) {
    EXPECT_FALSE(mbus_init(28, registration, sizeof registration));
    EXPECT_EQ(mbus_get_moduleloop(bus_), 0);
    EXPECT_EQ(send(), -1);
    mbus_peer_start(bus_);
    EXPECT_NE(mbus_get_moduleloop(bus_), 0);
    EXPECT_FALSE(mbus_get_msg_from_queue_no_wait(bus_));
    const long before = allocations();
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(mbus_get_moduleloop(bus_) && !mbus_get_msg_from_queue_no_wait(bus_));
    EXPECT_EQ(allocations() - before, 0) << "an idle turn allocates";
    auto peer = started(3);
    ASSERT_EQ(peer->send(28, "hello"), bus_result::accepted);
    void* block = nullptr;
    while (!(block = mbus_get_msg_from_queue_no_wait(bus_)))
        std::this_thread::yield();
    EXPECT_EQ(std::string(static_cast<char*>(block), mbus_header_size + 5), frame(3, 28, "hello"));
    std::free(block);
    mbus_set_moduleloop(bus_, 0);
    EXPECT_EQ(mbus_get_moduleloop(bus_), 0);
    EXPECT_EQ(peer->send(28, "nobody"), bus_result::not_served);
}

TEST_F(mbus, waits_for_the_named_answer_only) {
    auto service = started(1);
    mbus_peer_start(bus_);
    ASSERT_EQ(send(), 0);
    const bus_message asked = take(*service);
    EXPECT_EQ(text_of(asked), request);
    for (const char* text : {"", "not json", "{\"command\":\"other-response\"}", "{\"command\":{}}", "[]"})
        service->send(28, text);
    service->send(28, answer("yes"));
    EXPECT_EQ(wait(20), "yes");
    EXPECT_EQ(wait(0), "none");
}

TEST_F(mbus, wait_ends_at_its_limit_or_at_once_without_a_destination) {
    mbus_peer_start(bus_);
    EXPECT_EQ(send(99), -1);
    EXPECT_LT(waited(20), 1000);

    const raw_peer hung(5, true);
    ASSERT_EQ(send(5), 0);
    const long long limit = waited(2);
    EXPECT_GE(limit, 199);
    EXPECT_LT(limit, 1500);

    // The destination says something else and dies in the middle of the wait, also while that is being read.
    const raw_peer dying(7, true);
    const std::string other = frame(7, 28, "[\"" + std::string(200000, 'x') + "\"]");
    // A large request leaves by a thread, which then reads beside the wait.
    const std::string large = request + std::string(1000000, ' ');
    for (int i = 0; i < 60; ++i) {
        const std::string& text = i < 30 ? request : large;
        std::thread death([&] {
            const unique_fd talk(accept(dying.fd(), nullptr, nullptr));
            std::string asked(2 * mbus_header_size + text.size(), '\0');
            EXPECT_EQ(recv(talk.get(), asked.data(), asked.size(), MSG_WAITALL), static_cast<ssize_t>(asked.size()));
            for (std::size_t done = 0; done < other.size();)
                done += static_cast<std::size_t>(::send(talk.get(), other.data() + done, other.size() - done, 0));
            std::this_thread::sleep_for(std::chrono::microseconds(20 * (i % 30)));  // the end meets all of the reading
        });
        mbus_peer_stop(bus_);
        mbus_peer_start(bus_);
        ASSERT_EQ(send(7, text), 0);
        EXPECT_LT(waited(20), 1000) << i;
        death.join();
    }
}

// Whatever way a late answer takes, a later request does not take it for its own.
TEST_F(mbus, late_answer_is_never_taken) {
    auto service = started(1);
    mbus_peer_start(bus_);
    ASSERT_EQ(send(), 0);
    const bus_message first = take(*service);
    mbus_peer_stop(bus_);

    mbus_peer_start(bus_);
    EXPECT_EQ(service->send_over(first.connection, answer("late")), bus_result::not_served);
    EXPECT_EQ(service->send(28, answer("late")), bus_result::not_served) << "nobody looks for messages";
    EXPECT_FALSE(mbus_get_msg_from_queue_no_wait(bus_));
    ASSERT_EQ(service->send(28, answer("late")), bus_result::accepted);  // a new connection
    ASSERT_EQ(send(), 0);
    while (service->unsent() > 0)
        std::this_thread::yield();
    EXPECT_EQ(service->send(28, answer("late")), bus_result::accepted);  // the request waits, not yet taken
    EXPECT_EQ(wait(1), "none");
    take(*service);
    ASSERT_EQ(service->send(28, answer("in time")), bus_result::accepted);
    EXPECT_EQ(wait(20), "in time");
}

// A connection serves the next request only where nothing is owed and nothing more was said.
TEST_F(mbus, connection_outlives_an_answered_request) {
    const raw_peer service(8, true);
    unique_fd talk;
    const auto ask = [&](bool anew, const std::string& answers) {
        mbus_peer_start(bus_);
        EXPECT_EQ(send(8), 0);
        if (anew) talk.reset(accept(service.fd(), nullptr, nullptr));
        std::string asked((anew ? 2 : 1) * mbus_header_size + request.size(), '\0');
        EXPECT_EQ(recv(talk.get(), asked.data(), asked.size(), MSG_WAITALL), static_cast<ssize_t>(asked.size()));
        EXPECT_EQ(::send(talk.get(), answers.data(), answers.size(), 0), static_cast<ssize_t>(answers.size()));
        const std::string value = wait(20);
        mbus_peer_stop(bus_);
        return value;
    };
    const auto framed = [](const std::string& value) { return frame(8, 28, answer(value)); };
    EXPECT_EQ(ask(true, framed("first")), "first");
    EXPECT_EQ(ask(false, framed("second")), "second");
    EXPECT_GT(::send(talk.get(), framed("late").data(), framed("late").size(), 0), 0);
    EXPECT_EQ(ask(true, framed("third") + framed("late")), "third");
    EXPECT_EQ(ask(true, framed("fourth") + "half"), "fourth");
    EXPECT_EQ(ask(true, framed("fifth")), "fifth");
    talk.reset();
    EXPECT_EQ(ask(true, framed("sixth")), "sixth");

    // The module closes what it took the request from, for it does so after each answer.
    std::thread closes([&] {
        char asked[64];
        EXPECT_GT(recv(talk.get(), asked, sizeof asked, 0), 0);
        talk.reset();
        talk.reset(accept(service.fd(), nullptr, nullptr));
        EXPECT_GT(recv(talk.get(), asked, sizeof asked, 0), 0);
        EXPECT_GT(::send(talk.get(), framed("again").data(), framed("again").size(), 0), 0);
    });
    mbus_peer_start(bus_);
    EXPECT_EQ(send(8), 0);
    EXPECT_EQ(wait(300), "again");
    mbus_peer_stop(bus_);
    closes.join();

    // Something came, but not the answer, which may still come.
    mbus_peer_start(bus_);
    EXPECT_EQ(send(8), 0);
    EXPECT_GT(::send(talk.get(), frame(8, 28, "{}").data(), mbus_header_size + 2, 0), 0);
    EXPECT_EQ(wait(1), "none");
    mbus_peer_stop(bus_);
    EXPECT_EQ(ask(true, framed("seventh")), "seventh");

    // Another took over, while the one from before still listens to what it has.
    unlink((bus_directory() + "/8.sock").c_str());
    auto successor = started(8);
    mbus_peer_start(bus_);
    EXPECT_EQ(send(8), 0);
    EXPECT_EQ(text_of(take(*successor)), request);
}

// The kept connection is closed late, and nobody answers the request that then goes out once more.
TEST_F(mbus, asking_once_more_takes_no_time_beyond_the_limit) {
    const raw_peer service(9, true);
    mbus_peer_start(bus_);
    ASSERT_EQ(send(9), 0);
    unique_fd talk(accept(service.fd(), nullptr, nullptr));
    const std::string answered = frame(9, 28, answer("first"));
    ASSERT_EQ(::send(talk.get(), answered.data(), answered.size(), 0), static_cast<ssize_t>(answered.size()));
    ASSERT_EQ(wait(300), "first");
    mbus_peer_stop(bus_);
    mbus_peer_start(bus_);
    ASSERT_EQ(send(9), 0);
    std::thread closes([&talk] {
        std::this_thread::sleep_for(milliseconds(3700));
        talk.reset();
    });
    EXPECT_LT(waited(40), 7500);
    closes.join();
}

}  // namespace
}  // namespace ravd::testing

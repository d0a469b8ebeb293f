// What peers that flood or stall can do to an endpoint, on the virtual clock: the test makes the endpoint's turns.
#include <deque>

#include "tests/platform/bus/bus_support.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {
namespace {

constexpr std::size_t mib = 1024 * 1024;

// A bare peer with bytes that it writes as its socket takes them.
struct flood {
    raw_peer peer{40};
    std::string rest;
    std::size_t done = 0;

    void push() {
        const ssize_t n = send(peer.fd(), rest.data() + done, rest.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0) done += static_cast<std::size_t>(n);
    }
};

// By calls, and polled.
class bus_limits : public ::testing::TestWithParam<bool> {
  protected:
    bus_limits() {
        fake_system::get().reset();
        bus = bus_endpoint::open(bus_directory(), 40);
        bus_message none;
        EXPECT_TRUE(bus && (GetParam() ? bus->start_polled() : bus->start_by_calls()));
        EXPECT_FALSE(bus->receive(none));  // others find it from here on
    }
    void turn() {
        if (!GetParam()) return bus->wait(0);
        std::vector<pollfd> set;
        (void)bus->fill(set);
        EXPECT_GE(poll(set.data(), set.size(), 0), 0);
        bus->serve(set.data(), set.size());
    }
    // Until nothing moves; a turn that accepts moves no bytes.
    void move() {
        for (int still = 0; still < 3; ++still) {
            const std::uint64_t before = bus->transferred();
            for (flood& one : peers)
                one.push();
            turn();
            if (bus->transferred() != before) still = 0;
        }
    }

    std::unique_ptr<bus_endpoint> bus;
    std::deque<flood> peers;
};

TEST_P(bus_limits, what_is_received_and_not_taken_is_bounded) {
    for (int i = 0; i < 6; ++i)
        peers.emplace_back();
    constexpr int each = 6;
    for (std::size_t i = 0; i < peers.size(); ++i) {
        peers[i].rest = hello(50 + static_cast<int>(i), 40);
        for (int n = 0; n < each; ++n)
            peers[i].rest += frame(50 + static_cast<int>(i), 40, std::string(mib, static_cast<char>('a' + n)));
    }
    move();
    EXPECT_GE(bus->transferred(), 14 * mib);
    EXPECT_LE(bus->transferred(), 22 * mib);  // with what is unfinished

    std::vector<int> taken(peers.size());
    bus_message message;
    for (int left = 6 * each; left > 0; move())
        for (; bus->receive(message); --left) {
            int& count = taken[static_cast<std::size_t>(message.source - 50)];
            ASSERT_EQ(message.text(), std::string(mib, static_cast<char>('a' + count++)));
        }
}

TEST_P(bus_limits, an_unfinished_message_gives_way_after_two_seconds_without_a_byte) {
    peers.emplace_back();
    peers.emplace_back();
    peers[0].rest = hello(50, 40) + frame(50, 40, std::string(16 * mib, 'x'));
    std::string last = peers[0].rest.substr(peers[0].rest.size() - 2);
    peers[0].rest.resize(peers[0].rest.size() - 2);
    bus_message message;
    while (peers[0].done < peers[0].rest.size())
        move();
    peers[1].rest = hello(51, 40) + frame(51, 40, "waits");
    move();
    EXPECT_FALSE(bus->receive(message));
    fake_system::get().advance_ms(1900);
    turn();
    EXPECT_FALSE(bus->receive(message));

    // A byte, and it has two seconds again.
    peers[0].rest += last.substr(0, 1);
    move();
    fake_system::get().advance_ms(1900);
    turn();
    EXPECT_FALSE(bus->receive(message));
    fake_system::get().advance_ms(200);
    for (int turns = 0; turns < 3 && !message.block; ++turns) {
        turn();
        (void)bus->receive(message);
    }
    EXPECT_EQ(text_of(message), "waits");
    EXPECT_EQ(peers[0].peer.read(1), "");
}

INSTANTIATE_TEST_SUITE_P(modes, bus_limits, ::testing::Bool());

}  // namespace
}  // namespace ravd::testing

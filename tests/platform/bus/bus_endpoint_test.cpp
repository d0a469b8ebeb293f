#include <sys/stat.h>

#include <chrono>
#include <map>
#include <thread>

#include "tests/platform/bus/bus_support.h"
#include "tests/support/descriptors.h"

namespace ravd::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t mib = 1024 * 1024;

std::string numbered(int number, std::size_t size) {
    std::string text = std::to_string(number) + ":";
    text.resize(std::max(size, text.size()), '.');
    return text;
}

int number_of(const bus_message& message) {
    return message.block ? std::atoi(std::string(message.text().substr(0, 9)).c_str()) : -1;
}

TEST(bus_endpoint, number_is_taken_once_and_stale_files_are_replaced) {
    {
        auto first = started(40);
        EXPECT_FALSE(bus_endpoint::open(bus_directory(), 40));
        auto other = started(41);
        EXPECT_EQ(other->send(40, "still there"), bus_result::accepted);
        EXPECT_EQ(text_of(take(*first)), "still there");
    }
    { const raw_peer crashed(40, true); }  // leaves its socket file behind
    auto again = started(40);
    auto other = started(41);
    EXPECT_EQ(other->send(40, "new"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*again)), "new");
    EXPECT_TRUE(again->running());
    // Somebody clears the directory away.
    for (const char* file : {"/40.sock", "/40.lock"})
        unlink((bus_directory() + file).c_str());
    // Nobody new can reach it, which is noticed although messages still move.
    bool noticed = false;
    for (int i = 0; i < 64 && !noticed; ++i) {
        EXPECT_EQ(other->send(40, "more"), bus_result::accepted);
        EXPECT_EQ(text_of(take(*again)), "more");
        noticed = !again->running();
    }
    EXPECT_TRUE(noticed);
    EXPECT_TRUE(again->start() && again->running());
    EXPECT_FALSE(bus_endpoint::open(bus_directory(), 40));
}

TEST(bus_endpoint, directory_must_be_ours_alone) {
    const std::string base = sim_directory() + "/dirs/";
    const std::string deep = base + std::string(120, 'd') + "/bus";
    ASSERT_TRUE(bus_endpoint::open(base + "good", 1));  // with its parents
    struct stat info {};
    ASSERT_EQ(stat((base + "good").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);
    ASSERT_EQ(symlink("good", (base + "link").c_str()) + mkdir((base + "open").c_str(), 0700) +
                  chmod((base + "open").c_str(), 0770) + mkdir((base + "readable").c_str(), 0755) +
                  mknod((base + "file").c_str(), S_IFREG | 0600, 0),
              0);
    for (const char* name : {"link", "open", "file", "file/below"}) {
        std::string error;
        EXPECT_FALSE(bus_endpoint::open(base + name, 1, &error)) << name;
        EXPECT_FALSE(error.empty()) << name;
    }
    EXPECT_FALSE(bus_endpoint::open(base + "good", -1));
    EXPECT_TRUE(bus_endpoint::open(base + "readable", 1));
    ASSERT_EQ(stat((base + "readable").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0077, 0u);

    // A path longer than a socket address.
    auto one = bus_endpoint::open(deep, 1);
    auto two = bus_endpoint::open(deep, 2);
    ASSERT_TRUE(one && two && one->start() && two->start());
    EXPECT_EQ(one->send(2, "far"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*two)), "far");
}

TEST(bus_endpoint, largest_messages_cross_both_ways_and_from_many_at_once) {
    auto one = started(40);
    auto two = started(41);
    std::vector<std::unique_ptr<bus_endpoint>> more;
    std::string text(mbus_message_limit, '\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>(i * 2654435761u >> 13);
    EXPECT_EQ(one->send(41, text), bus_result::accepted);
    EXPECT_EQ(two->send(40, text), bus_result::accepted);
    // Together more than the receiver holds, so that unfinished messages wait for each other.
    for (int i = 42; i < 45; ++i) {
        more.push_back(started(i));
        EXPECT_EQ(more.back()->send(40, text), bus_result::accepted);
    }
    EXPECT_TRUE(take(*two).text() == text);
    for (int i = 41; i < 45; ++i)
        EXPECT_TRUE(take(*one).text() == text);
    EXPECT_EQ(one->send(41, text + "x"), bus_result::too_long);
    EXPECT_EQ(one->send(41, ""), bus_result::accepted);
    EXPECT_EQ(text_of(take(*two)), "");
}

// A row goes out with its first message, each time that much waits, and with its last or its end.
TEST(bus_endpoint, rows_are_joined_and_never_stay_behind) {
    auto from = started(40);
    auto to = started(41);
    const auto send = [&](int number, std::size_t size, bool more) {
        EXPECT_EQ(from->send(41, numbered(number, size), nullptr, more), bus_result::accepted);
    };
    const auto expect = [&](int first, int last) {
        for (int number = first; number <= last; ++number)
            EXPECT_EQ(number_of(take(*to)), number);
        bus_message message;
        EXPECT_FALSE(to->receive(message));
    };
    send(0, 200, true);
    send(1, 200, true);
    EXPECT_GT(from->unsent(), 0u);
    expect(0, 0);
    send(2, 200, false);
    expect(1, 2);
    send(3, 200, true);
    send(4, 200, true);
    from->end_rows();
    expect(3, 4);
    send(5, 200, true);
    send(6, 100000, true);
    expect(5, 6);
    // Nor when the sender stops.
    send(7, 200, true);
    send(8, 200, true);
    from->stop();
    expect(7, 8);
}

// All begin at the same moment, so that some dial each other at once.
TEST(bus_endpoint, streams_of_all_to_all_stay_in_order) {
    constexpr int modules = 3;
    constexpr int count = 5000;
    std::vector<std::unique_ptr<bus_endpoint>> buses;
    std::vector<std::thread> threads;
    for (int i = 0; i < modules; ++i)
        buses.push_back(started(40 + i));
    for (const auto& bus : buses)
        threads.emplace_back([&bus] {
            std::map<int, int> next;
            for (int sent = 0, taken = 0; sent < count || taken < count * (modules - 1);) {
                for (int other = 40; sent < count && other < 40 + modules; ++other) {
                    const std::string text = numbered(sent, sent % 1000 == 0 ? mib / 4 : 200);
                    if (other == bus->module()) continue;
                    const bool more = sent % 7 != 0 && sent + 1 < count;  // in rows of seven
                    ASSERT_EQ(bus->send(other, text, nullptr, more), bus_result::accepted);
                }
                ++sent;
                for (bus_message message; bus->receive(message); ++taken)
                    ASSERT_EQ(number_of(message), next[message.source]++);
                if (sent >= count && taken < count * (modules - 1)) wait_for(bus->descriptor());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(bus_endpoint, half_messages_and_bad_frames_end_only_their_connection) {
    auto bus = started(40);
    const std::string good = hello(7, 40);
    const std::string message = frame(7, 40, "whole");
    EXPECT_EQ(good + message, std::string("\7\0\0\0\0\0\0\0\1\50\0\0\0RVB1\7\0\0\0\5\0\0\0\0\50\0\0\0RVB1whole", 39));
    std::vector<std::string> cases = {
        good + frame(7, 40, std::string(100000, 'x')).substr(0, 70000),
        good.substr(0, 9),
        message,  // no hello
        hello(7, 41),
        good + good,
        good + frame(8, 40, "another's name"),
        good + frame(7, 41, "another's message"),
    };
    // One byte of a good message changed: magic, kind, length beyond 16 MiB, module numbers.
    const std::pair<std::size_t, char> changes[] = {{13, 'X'}, {16, '2'},   {8, 2},      {8, 1},
                                                    {7, 1},    {3, '\x80'}, {12, '\x80'}};
    for (const auto& [offset, value] : changes) {
        cases.push_back(good + message);
        cases.back()[mbus_header_size + offset] = value;
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        raw_peer peer(40);
        peer.write(cases[i]);
        if (i < 2) shutdown(peer.fd(), SHUT_WR);  // the unfinished ones; the others are bad as they stand
        EXPECT_EQ(peer.read(1), "") << i;         // closed
    }
    raw_peer peer(40);
    for (const char byte : good + message)
        peer.write(std::string(1, byte));
    const bus_message received = take(*bus);
    EXPECT_EQ(text_of(received), "whole");
    EXPECT_EQ(received.source, 7);
    EXPECT_EQ(bus->send_over(received.connection, "answer"), bus_result::accepted);
    EXPECT_EQ(peer.read(23), frame(40, 7, "answer"));
}

TEST(bus_endpoint, peer_that_does_not_read_grows_nobody) {
    auto bus = started(40);
    bus_result result = bus_result::accepted;
    {
        const raw_peer deaf(41, true);
        const std::string text(mib, 'x');
        std::size_t accepted = 0;
        while ((result = bus->send(41, text)) == bus_result::accepted && accepted < 100 * mib)
            accepted += text.size();
        EXPECT_EQ(result, bus_result::full);
        EXPECT_LE(bus->unsent(), 32 * mib);
        const auto begin = steady_clock::now();
        bus->stop();
        EXPECT_LT(steady_clock::now() - begin, milliseconds(1000));
    }
    // An endpoint whose owner takes nothing stops reading; everything accepted is there when he begins.
    auto lazy = started(42);
    ASSERT_TRUE(bus->start());
    int sent = 0;
    for (int calm = 0, tries = 0; tries < 2000 && (calm < 20 || sent < 46); ++tries) {
        const int before = sent;
        while (sent < 200 && bus->send(42, numbered(sent, mib)) == bus_result::accepted)
            ++sent;
        calm = sent == before ? calm + 1 : 0;
        std::this_thread::sleep_for(milliseconds(5));
    }
    EXPECT_GE(sent, 46);
    EXPECT_LE(sent, 52);
    for (int i = 0; i < sent; ++i)
        ASSERT_EQ(number_of(take(*lazy)), i);
}

TEST(bus_endpoint, destination_that_is_absent_gone_or_back) {
    auto bus = started(40);
    auto other = started(41);
    EXPECT_EQ(bus->send(99, "x"), bus_result::not_served);
    EXPECT_EQ(bus->send(-1, "x"), bus_result::not_served);
    EXPECT_EQ(bus->send_over(1234, "x"), bus_result::not_served);
    std::uint64_t first = 0;
    EXPECT_EQ(bus->send(41, "one", &first), bus_result::accepted);
    const bus_message request = take(*other);
    other->stop();
    EXPECT_EQ(bus->send(41, "two"), bus_result::not_served);
    ASSERT_TRUE(other->start());
    EXPECT_EQ(other->send_over(request.connection, "late"), bus_result::not_served);
    EXPECT_EQ(bus->send(41, "three"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*other)), "three");
    for (int i = 0; i < 2000 && bus->is_open(first); ++i)
        std::this_thread::sleep_for(milliseconds(1));
    EXPECT_FALSE(bus->is_open(first));
}

TEST(bus_endpoint, cycles_are_quick_lose_nothing_and_leak_nothing) {
    auto bus = started(40);
    auto requester = started(41);
    const int before = open_descriptors();
    const auto begin = steady_clock::now();
    bool late = false;  // what a busy machine does not move in 200 ms is lost, as a whole
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(requester->start());
        ASSERT_EQ(requester->send(40, numbered(i, i == 100 ? 4 * mib : 100)), bus_result::accepted);
        const auto stop = steady_clock::now();
        requester->stop();
        late = late || steady_clock::now() - stop >= milliseconds(200);
    }
    EXPECT_LT(steady_clock::now() - begin, milliseconds(6000));  // a wait in each would make 20 s of it
    for (int i = 0; i < 200; ++i) {
        const int number = number_of(take(*bus));
        if (late && i == 100 && number == 101) ++i;
        ASSERT_EQ(number, i);
    }
    while (bus->is_open(1))
        wait_for(bus->descriptor());
    bus_message none;
    for (int i = 0; i < 1000 && open_descriptors() >= before; ++i)
        std::this_thread::sleep_for(milliseconds(1));
    EXPECT_EQ(open_descriptors(), before - 1);  // the listening socket of the stopped one
    EXPECT_FALSE(bus->receive(none));
}

TEST(bus_endpoint, connections_are_bounded_and_silent_ones_give_way) {
    auto bus = started(40);
    auto friendly = started(41);
    ASSERT_EQ(friendly->send(40, "first"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*bus)), "first");
    std::vector<std::unique_ptr<raw_peer>> crowd;
    for (int i = 0; i < 70; ++i)
        crowd.push_back(std::make_unique<raw_peer>(40));
    EXPECT_EQ(crowd[6]->read(1), "");  // 64 with the friendly one: the oldest are closed
    ASSERT_EQ(friendly->send(40, "second"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*bus)), "second");
    auto late = started(42);
    ASSERT_EQ(late->send(40, "third"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*bus)), "third");
    EXPECT_EQ(bus->send(41, "back"), bus_result::accepted);
    EXPECT_EQ(text_of(take(*friendly)), "back");

    // Those that said who they are stay, and then nobody else comes in.
    crowd.clear();
    for (int i = 0; i < 64; ++i) {
        crowd.push_back(std::make_unique<raw_peer>(40));
        if (i >= 62) continue;
        crowd.back()->write(hello(50 + i, 40) + frame(50 + i, 40, "here"));
        EXPECT_EQ(text_of(take(*bus)), "here") << i;
    }
    EXPECT_EQ(crowd.back()->read(1), "");
    EXPECT_EQ(bus->send(999, "x"), bus_result::full);
}

}  // namespace
}  // namespace ravd::testing

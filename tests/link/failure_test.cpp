// Everything a service, a network or a name server can do wrong; after each a healthy service has the link again.

#include <atomic>
#include <cstdlib>
#include <future>

#include "tests/core/log_capture.h"
#include "tests/link/link_fixture.h"
#include "tests/support/descriptors.h"

namespace ravd::testing {
namespace {

// Upgrade answer whose last fields are up to the case.
#define UPGRADE "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"

TEST_F(link_test, handshakes_that_fail) {
    struct {
        manner how;
        const char* reply;
    } const cases[] = {
        {manner::mute, ""},
        {manner::hang_up, ""},
        {manner::reset, ""},
        {manner::scripted, "\x01\x02garbage\r\n\r\n\r\n"},
        {manner::scripted, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"},
        {manner::scripted, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"},
        {manner::scripted, "HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n"},
        {manner::scripted, UPGRADE "Sec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n\r\n"},
        {manner::scripted, UPGRADE "Sec-WebSocket-Protocol: other\r\nSec-WebSocket-Accept: {key}\r\n\r\n"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(&entry - cases);
        SetUp();
        server.hang_up();
        server.how = entry.how;
        server.reply = entry.reply;
        statuses.clear();
        const int before = server.accepted;
        ASSERT_TRUE(until([&] { return server.accepted > before; }));
        const double start = clock.now_s();
        ASSERT_TRUE(until([this] { return !initialized; }, 7000));
        EXPECT_LE(clock.now_s() - start, 30);
        EXPECT_EQ(statuses.find('+'), std::string::npos);
        server.step();
        EXPECT_EQ(server.accepted, before + 1) << "went elsewhere";
        expect_recovery();
    }
}

TEST_F(link_test, peers_that_fail) {
    using namespace std::string_literals;
    const std::string beginning = "\1\3abc\0\5xy"s;  // a fragment and a part of the next
    enum action { nothing, close, reset, no_pongs };
    struct {
        std::string bytes;
        action then;
    } const cases[] = {{"", close},
                       {beginning, reset},
                       {beginning, close},
                       {beginning, no_pongs},
                       {"\x88\2\3\xe8", nothing},  // a close frame
                       {"\xf1\x01x", nothing},     // reserved bits
                       {"\x83\x01x", nothing},     // an unknown opcode
                       {"\x80\x01x", nothing}};    // a stray continuation
    for (const auto& entry : cases) {
        SCOPED_TRACE(&entry - cases);
        SetUp();
        server.hang_up();
        inbox.clear();
        statuses.clear();
        connect();
        server.received.clear();
        server.send_bytes(entry.bytes);
        server.step();
        if (entry.then == close || entry.then == reset) server.hang_up(entry.then == reset);
        server.answer_pings = entry.then != no_pongs;
        expect_recovery(entry.then == no_pongs ? 9000 : 1);
        EXPECT_EQ(inbox.size(), 1u) << "a part of a message survived its link";
    }
}

TEST_F(link_test, back_off) {
    server.how = manner::hang_up;
    const auto attempt = [this] {
        const double start = clock.now_s();
        EXPECT_TRUE(until([this] { return initialized; }));
        const double waited = clock.now_s() - start;
        EXPECT_TRUE(until([this] { return !initialized; }));
        return waited;
    };
    log_capture log(log_debug_bit);
    for (int i = 0; i < 3; ++i) {
        const double waited = attempt();
        EXPECT_TRUE(waited >= 1 && waited < 3) << waited;
    }
    EXPECT_EQ(log.count("Generate delay into [1;3) range\n"), 3);
    const std::uint32_t healthy = std::exchange(server.port, 1);  // where connections are refused
    make(10, 60);
    server.port = healthy;
    for (int i = 0; i < 5; ++i)
        attempt();
    make(10, 60);
    attempt();
    server.how = manner::healthy;
    connect();
    server.hang_up();
    until([this] { return !initialized; });
    until([this] { return initialized; });
    const std::pair<const char*, int> ranges[] = {{"[5;15)", 3}, {"[10;30)", 2}, {"[20;60)", 1}, {"[30;90)", 2}};
    for (const auto& [range, count] : ranges)
        EXPECT_EQ(log.count(std::string("Generate delay into ") + range + " range\n"), count) << range;
    EXPECT_EQ(log.count("Connection established - reset connection delay\n"), 1);
}

TEST_F(link_test, syn_never_answered) {
    server.accepting = false;
    server.fill_backlog();
    ASSERT_TRUE(until([this] { return initialized; }));
    const double start = clock.now_s();
    ASSERT_TRUE(until([this] { return !initialized; }, 5000));
    EXPECT_NEAR(clock.now_s() - start, 21, 5);
    EXPECT_EQ(statuses, "--");
}

TEST_F(link_test, peer_that_stops_reading) {
    connect();
    server.reading = false;
    const std::string large(1000000, 'x');
    for (int i = 0; i < 12; ++i)
        push(large);
    push(R"({"service":"internal-ipc","cmd":"status"})");
    for (int i = 0; i < 4; ++i)
        turn();
    EXPECT_EQ(statuses, "-+") << "a command overtook the messages before it";
    const double start = clock.now_s();
    ASSERT_TRUE(until([this] { return !initialized; }, 9000, 20));
    EXPECT_NEAR(clock.now_s() - start, 67, 8);
    EXPECT_EQ(server.pings, 0);
    // What the link no longer took is dropped in the wait before the next attempt, one message a step.
    server.hang_up();
    expect_recovery();
}

TEST_F(link_test, reconnects_leave_no_descriptor_behind) {
    const std::vector<raw_server> others(30);  // so that the link's descriptors are beyond the size of its tables
    connect();
    int before = 0;
    for (int i = 0; i < 300; ++i) {
        server.hang_up(i % 2 == 0);
        ASSERT_TRUE(until([this] { return !initialized; }));
        statuses.clear();
        if (i == 5) before = open_descriptors();
        connect();
    }
    server.hang_up();
    until([this] { return !initialized; });
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(link_test, name_server_that_never_answers) {
    std::promise<std::vector<std::string>> answer;
    const auto asked = std::make_shared<std::atomic<int>>(0);
    make(0, 0, "service.test", [asked, future = answer.get_future().share()](const std::string& host) {
        EXPECT_EQ(host, "service.test");
        ++*asked;
        return future.get();
    });
    for (int attempt = 0; attempt < 3; ++attempt) {
        push(R"({"service":"internal-ipc","cmd":"status"})");
        const double start = clock.now_s();
        EXPECT_FALSE(worker->init());
        EXPECT_NEAR(clock.now_s() - start, 11.5, 1.5);  // the back-off and ten seconds
    }
    take_inbox();
    EXPECT_EQ(statuses, "------");
    running = false;  // ends the wait at once
    const double start = clock.now_s();
    EXPECT_FALSE(worker->init());
    EXPECT_LT(clock.now_s() - start, 1);
    running = true;
    answer.set_value({"127.0.0.1"});
    ASSERT_TRUE(until([this] { return initialized; }));
    EXPECT_EQ(*asked, 1) << "one look-up at a time";
    connect();
    EXPECT_NE(server.request.find("Host: service.test"), std::string::npos) << server.request;
}

TEST_F(link_test, names) {
    using addresses = std::vector<std::string>;
    make(0, 0, "absent.test", [](const std::string&) { return addresses{}; });
    EXPECT_FALSE(until([this] { return initialized; }, 0, 5));
    make(0, 0, "service.test", [](const std::string&) { return addresses{"127.0.0.99", "127.0.0.1"}; });
    connect();  // the first address refuses, the next one serves
    make(0, 0, "localhost");
    server.hang_up();
    statuses.clear();
    connect();
    make(0, 0, "");
    EXPECT_FALSE(until([this] { return initialized; }, 0, 5));
    // A worker that goes while a look-up hangs leaves it behind.
    std::promise<addresses> late;
    make(0, 0, "late.test", [future = late.get_future().share()](const std::string&) { return future.get(); });
    EXPECT_FALSE(worker->init());
    worker.reset();
    late.set_value({});
}

}  // namespace
}  // namespace ravd::testing

// Everything a service, a network or a name server can do wrong; after each a healthy service has the link again.

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <future>

#include "platform/unique_fd.h"
#include "tests/core/log_capture.h"
#include "tests/link/link_fixture.h"
#include "tests/support/descriptors.h"

namespace ravd::testing {
namespace {

// Upgrade answer whose last fields are up to the case.
#define UPGRADE "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"

TEST_F(link_test, handshakes_that_fail) {
    const char* const refused = "HS: ws upgrade response not 101";
    struct {
        manner how;
        const char *reply, *reason;
    } const cases[] = {
        {manner::mute, "", "no answer within 20 s"},
        {manner::unreachable, "", "no answer within 20 s"},
        {manner::hang_up, "", "read failed"},
        {manner::reset, "", "read failed"},
        {manner::scripted, "\x01\x02garbage\r\n\r\n\r\n", "no answer within 20 s"},
        {manner::scripted, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n", refused},
        {manner::scripted, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", refused},
        {manner::scripted, "HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", refused},
        {manner::scripted, UPGRADE "Sec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n\r\n",
         "HS: Accept hash wrong"},
        {manner::scripted, UPGRADE "Sec-WebSocket-Protocol: other\r\nSec-WebSocket-Accept: {key}\r\n\r\n",
         "HS: PROTOCOL malformed"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(&entry - cases);
        SetUp();
        server.hang_up();
        server.how = entry.how;
        server.reply = entry.reply;
        statuses.clear();
        if (entry.how == manner::unreachable) server.fill_backlog();
        const int attempt = server.accepted + (entry.how == manner::unreachable ? 0 : 1);
        ASSERT_TRUE(until([&] { return initialized && server.accepted == attempt; }));
        const double start = clock.now_s();
        ASSERT_TRUE(until([this] { return !initialized; }, 7000));
        EXPECT_LE(clock.now_s() - start, 30);
        EXPECT_EQ(statuses.find('+'), std::string::npos);
        server.step();
        EXPECT_EQ(server.accepted, attempt) << "went elsewhere";
        log_capture log(log_warning_bit | log_info_bit);
        expect_recovery();
        const std::string service = " to 127.0.0.1:" + std::to_string(server.port);
        EXPECT_EQ(log.count(" no link" + service + ": " + entry.reason + "; next attempt in "), 1) << log.text();
        EXPECT_EQ(log.count(" link" + service + " is up, address 127.0.0.1\n"), 1) << log.text();
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
    log_capture log(log_debug_bit | log_warning_bit);
    reading_inbox = false;
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
    // An outage for a day: nobody reads, and only questions are answered each time.
    EXPECT_EQ(from_service.size(), 2u) << "one for each worker";
    push(R"({"service":"internal-ipc","cmd":"status"})");
    push(R"({"service":"internal-ipc","cmd":"status"})");
    make(10, 60);
    attempt();
    EXPECT_EQ(from_service.size(), 5u);
    reading_inbox = true;
    EXPECT_EQ(log.count(": read failed; next attempt in "), 1) << "the same reason again is information";
    EXPECT_EQ(log.count(": Unable to connect; next attempt in "), 1);
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
    EXPECT_EQ(to_service.size(), 0u);
    EXPECT_EQ(statuses, "-++-") << "the question was answered all the same";
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
    EXPECT_EQ(statuses, "----");
    running = false;  // ends the wait at once
    const double start = clock.now_s();
    EXPECT_FALSE(worker->init());
    EXPECT_LE(clock.now_s() - start, 1);
    running = true;
    answer.set_value({});
    ASSERT_TRUE(until([&] { return *asked > 1; }));
}

// Nobody took the answer, for its wait was over: the next attempt must not be the one that learns of it.
TEST(resolver, asks_again_after_a_late_failure) {
    std::atomic<int> asked{0};
    const unique_fd wake(eventfd(0, EFD_CLOEXEC));
    resolver names("service.test", [&asked](const std::string&) { return ++asked, std::vector<std::string>{}; });
    for (int attempt = 1; attempt <= 2; ++attempt) {
        ASSERT_TRUE(names.start(wake.get()));
        pollfd ended{wake.get(), POLLIN, 0};
        ASSERT_EQ(poll(&ended, 1, 30000), 1) << "nobody was asked";
        std::uint64_t count;
        ASSERT_EQ(read(wake.get(), &count, sizeof count), 8);
        EXPECT_EQ(asked, attempt);
    }
}

TEST_F(link_test, names) {
    using addresses = std::vector<std::string>;
    make(0, 0, "absent.test", [](const std::string&) { return addresses{}; });
    EXPECT_FALSE(until([this] { return initialized; }, 0, 5));
    // The first address refuses, the next one serves; from then on that one comes first, wherever the list has it.
    auto asked = std::make_shared<std::atomic<int>>(0);
    make(0, 0, "service.test", [asked](const std::string&) {
        return ++*asked % 2 ? addresses{"127.0.0.99", "127.0.0.1"} : addresses{"127.0.0.1", "127.0.0.99"};
    });
    connect();
    EXPECT_NE(server.request.find("Host: service.test"), std::string::npos) << server.request;
    EXPECT_EQ(*asked, 2);
    for (int links = 1; links < 5; ++links) {
        server.hang_up();
        statuses.clear();
        connect();
        EXPECT_EQ(*asked, 2 + links);
    }
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

// Everything a service, a network or a name server can do wrong; after each a healthy service has the link again.

#include <dirent.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "tests/core/log_capture.h"
#include "tests/link/link_fixture.h"

namespace ravd::testing {
namespace {

int open_descriptors() {
    DIR* directory = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(directory))
        ++count;
    closedir(directory);
    return count;
}

struct handshake_case {
    const char* name;
    manner how;
    const char* reply;
};

void PrintTo(const handshake_case& entry, std::ostream* out) { *out << entry.name; }

class handshake_test : public link_test, public ::testing::WithParamInterface<handshake_case> {};

TEST_P(handshake_test, recovers) {
    server.how = GetParam().how;
    server.reply = GetParam().reply;
    ASSERT_TRUE(until([this] { return server.accepted > 0; }));
    const double start = clock.now_s();
    ASSERT_TRUE(until([this] { return !initialized; }, 7000));
    EXPECT_LE(clock.now_s() - start, 30);
    EXPECT_EQ(statuses.find('+'), std::string::npos);
    server.step();
    EXPECT_EQ(server.accepted, 1);
    expect_recovery();
    EXPECT_EQ(server.accepted, 2);
}

INSTANTIATE_TEST_SUITE_P(
    all, handshake_test,
    ::testing::Values(
        handshake_case{"mute", manner::mute, ""}, handshake_case{"hang_up", manner::hang_up, ""},
        handshake_case{"reset", manner::reset, ""},
        handshake_case{"garbage", manner::scripted, "\x01\x02garbage\r\n\r\n\r\n"},
        handshake_case{"not_found", manner::scripted, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"},
        handshake_case{"plain_ok", manner::scripted, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"},
        handshake_case{"redirect", manner::scripted,
                       "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:{port}/\r\nContent-Length: 0\r\n\r\n"},
        handshake_case{"wrong_key", manner::scripted,
                       "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                       "Sec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n\r\n"},
        handshake_case{"other_protocol", manner::scripted,
                       "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                       "Sec-WebSocket-Protocol: other\r\nSec-WebSocket-Accept: {key}\r\n\r\n"}),
    [](const auto& info) { return info.param.name; });

struct peer_case {
    const char* name;
    std::string bytes;  // sent over the established link
    int action;         // then: 0 nothing, 1 closes, 2 resets, 3 stops answering pings
};

void PrintTo(const peer_case& entry, std::ostream* out) { *out << entry.name; }

class peer_test : public link_test, public ::testing::WithParamInterface<peer_case> {};

TEST_P(peer_test, recovers) {
    connect();
    push(R"({"to":"peer"})");
    ASSERT_TRUE(until([this] { return server.texts().size() == 1; }));
    server.received.clear();
    server.send_bytes(GetParam().bytes);
    server.step();
    if (GetParam().action == 1 || GetParam().action == 2) server.hang_up(GetParam().action == 2);
    server.answer_pings = GetParam().action != 3;
    expect_recovery(GetParam().action == 3 ? 9000 : 1);
    EXPECT_EQ(inbox.size(), 1u) << "a part of a message survived its link";
}

INSTANTIATE_TEST_SUITE_P(all, peer_test,
                         ::testing::Values(peer_case{"closes", "", 1}, peer_case{"resets", "", 2},
                                           peer_case{"closes_in_a_message",
                                                     std::string("\x01\x03"
                                                                 "abc\x00\x05xy",
                                                                 9),
                                                     1},
                                           peer_case{"close_frame", std::string("\x88\x02\x03\xe8", 4), 0},
                                           peer_case{"reserved_bits", std::string("\xf1\x01x", 3), 0},
                                           peer_case{"unknown_opcode", std::string("\x83\x01x", 3), 0},
                                           peer_case{"stray_continuation", std::string("\x80\x01x", 3), 0},
                                           peer_case{"silent_in_a_message",
                                                     std::string("\x01\x03"
                                                                 "abc\x00\x05xy",
                                                                 9),
                                                     3}),
                         [](const auto& info) { return info.param.name; });

TEST_F(link_test, connection_refused) {
    const std::uint32_t healthy = server.port;
    server.port = 1;
    make(10, 60);
    log_capture log(log_debug_bit);
    for (int attempt = 0; attempt < 5; ++attempt) {
        ASSERT_TRUE(until([this] { return initialized; }));
        ASSERT_TRUE(until([this] { return !initialized; }));
    }
    server.port = healthy;
    const char* ranges[] = {"[5;15)", "[10;30)", "[20;60)", "[30;90)"};
    const int counts[] = {1, 1, 1, 2};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(log.count(std::string("Generate delay into ") + ranges[i] + " range\n"), counts[i]) << ranges[i];
}

TEST_F(link_test, back_off_without_delays_and_its_reset) {
    server.how = manner::hang_up;
    make(0, 0);
    {
        log_capture log(log_debug_bit);
        for (int attempt = 0; attempt < 3; ++attempt) {
            const double start = clock.now_s();
            ASSERT_TRUE(until([this] { return initialized; }));
            EXPECT_GE(clock.now_s() - start, 1);
            EXPECT_LT(clock.now_s() - start, 3);
            ASSERT_TRUE(until([this] { return !initialized; }));
        }
        EXPECT_EQ(log.count("Generate delay into [1;3) range\n"), 3);
        EXPECT_EQ(log.count("websock-rrm-> _connect: Try to establish connect with server 127.0.0.1:"), 3);
    }
    make(10, 60);
    log_capture log(log_debug_bit);
    until([this] { return server.accepted == 6; });
    server.how = manner::healthy;
    connect();
    server.hang_up();
    until([this] { return !initialized; });
    until([this] { return initialized; });
    EXPECT_EQ(log.count("Generate delay into [5;15) range\n"), 2);
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

TEST_F(link_test, pings_unanswered) {
    log_capture log(log_debug_bit);
    connect();
    server.answer_pings = false;
    const double start = clock.now_s();
    ASSERT_TRUE(until([this] { return !initialized; }, 1000));
    EXPECT_NEAR(clock.now_s() - start, 92, 2);
    EXPECT_EQ(server.pings, 3);
    EXPECT_EQ(log.count("websock-rrm->There are no 3 pong answer in a row from server\n"), 1);
    server.received.clear();
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

// A name server in the test's hand.
struct name_server {
    std::mutex mutex;
    std::condition_variable changed;
    bool held = true;
    int asked = 0;
    std::vector<std::string> answer{"127.0.0.1"};

    resolver::lookup_function function(const std::shared_ptr<name_server>& self) {
        return [self](const std::string& host) {
            EXPECT_EQ(host, "service.test");
            std::unique_lock<std::mutex> lock(self->mutex);
            ++self->asked;
            self->changed.wait(lock, [&] { return !self->held; });
            return self->answer;
        };
    }
    void release(std::vector<std::string> with) {
        const std::lock_guard<std::mutex> lock(mutex);
        held = false;
        answer = std::move(with);
        changed.notify_all();
    }
};

TEST_F(link_test, name_server_that_never_answers) {
    const auto names = std::make_shared<name_server>();
    make(0, 0, "service.test", names->function(names));
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
    names->release({"127.0.0.1"});
    statuses.clear();
    connect();
    EXPECT_EQ(names->asked, 1) << "one look-up at a time";
    EXPECT_NE(server.request.find("Host: service.test"), std::string::npos) << server.request;
    // A worker that goes while a look-up hangs leaves it behind.
    names->held = true;
    server.hang_up();
    until([this] { return !initialized; });
    EXPECT_FALSE(worker->init());
    worker.reset();
    names->release({});
}

TEST_F(link_test, names) {
    const auto names = std::make_shared<name_server>();
    names->release({});
    make(0, 0, "service.test", names->function(names));
    EXPECT_FALSE(until([this] { return initialized; }, 0, 5));  // no such name
    names->release({"127.0.0.99", "127.0.0.1"});                // the first refuses, the next one serves
    connect();
    make(0, 0, "localhost");
    server.hang_up();
    statuses.clear();
    connect();
    make(0, 0, "");
    EXPECT_FALSE(until([this] { return initialized; }, 0, 5));
}

TEST_F(link_test, proxy_of_the_environment_is_not_used) {
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    connect();
    unsetenv("http_proxy");
}

}  // namespace
}  // namespace ravd::testing

// Messages both ways, internal messages, pings and the cost of an idle turn.

#include <libwebsockets.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "platform/system.h"
#include "tests/core/log_capture.h"
#include "tests/link/link_fixture.h"
#include "tests/support/allocations.h"

namespace ravd::testing {
namespace {

long library_allocations = 0;

void* counted_library_memory(void* old, std::size_t size, const char*) {
    if (size) ++library_allocations;
    if (size) return std::realloc(old, size);
    std::free(old);
    return nullptr;
}

std::string pattern(std::size_t size, unsigned seed) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>('a' + (seed + i * 7 + i / 4096) % 26);
    return text;
}

TEST_F(link_test, handshake_names_the_service_and_uses_no_proxy) {
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    server.greeting = "welcome";
    connect();
    unsetenv("http_proxy");
    ASSERT_TRUE(until([this] { return inbox == std::vector<std::string>{"welcome"}; }));
    for (const char* field :
         {"GET /api?x=1 HTTP/1.1\r\n", "Host: 127.0.0.1", "Sec-WebSocket-Protocol: websock-rrm\r\n"})
        EXPECT_NE(server.request.find(field), std::string::npos) << field << "\n" << server.request;
    EXPECT_EQ(server.request.find("Extensions"), std::string::npos);
    EXPECT_EQ(statuses, "-+");
}

TEST_F(link_test, fragments_become_one_message) {
    connect();
    log_capture log(log_debug_bit);
    const std::vector<std::string> cases[] = {
        {"one,", "two,", "three"}, {"", "a", "", "b", ""}, {pattern(3, 1), pattern(200000, 2), "", pattern(1, 3)}};
    for (const auto& parts : cases) {
        inbox.clear();
        std::string whole;
        for (const std::string& part : parts) {
            server.send_frame(&part == &parts.front() ? 1 : 0, part, &part == &parts.back());
            server.send_frame(9, "between");  // a control frame may stand between fragments
            whole += part;
        }
        ASSERT_TRUE(until([this] { return !inbox.empty(); }));
        EXPECT_TRUE(inbox.size() == 1 && inbox[0] == whole) << parts.size();
    }
    EXPECT_EQ(log.count("Get incomplete packet, beginning len 4, remaining len 0\n"), 2);
    EXPECT_EQ(log.count("Recieve final msg len 13 from websocket\n"), 1);
    EXPECT_EQ(log.count("can't receive message\n"), 0);
}

TEST_F(link_test, what_cannot_be_kept_is_skipped) {
    connect();
    log_capture log(log_error_bit | log_warning_bit);
    server.send_text("");
    server.send_frame(1, std::string(received_message_limit, 'x'), false);
    server.send_frame(0, "and more", false);
    server.send_frame(0, std::string(100, 'y'), true);
    server.send_text(std::string(received_message_limit + 1, 'x'));
    server.send_text(std::string(received_message_limit, 'z'));
    server.send_frame(2, "next");  // binary
    ASSERT_TRUE(until([this] { return inbox.size() == 2; }));
    EXPECT_EQ(inbox[0].size(), received_message_limit);
    EXPECT_EQ(inbox[1], "next");
    EXPECT_EQ(statuses, "-+");
    EXPECT_EQ(log.count("websock-rrm->process_client_receive: can't receive message\n"), 1);
    EXPECT_EQ(log.count("a message of more than 8388608 bytes is skipped\n"), 2);
}

TEST_F(link_test, both_ways_at_once) {
    connect();
    const std::pair<unsigned, std::size_t> cases[] = {{1, 5000000}, {10000, 200}};
    for (const auto& [total, size] : cases) {
        inbox.clear();
        server.received.clear();
        for (unsigned i = 0; i < total; ++i) {
            push(pattern(size, i));
            server.send_text(pattern(size, i + 5));
        }
        ASSERT_TRUE(until([&, n = total] { return inbox.size() == n && server.received.size() == n; }));
        for (unsigned i = 0; i < total; ++i) {
            const raw_server::frame& there = server.received[i];
            ASSERT_TRUE(inbox[i] == pattern(size, i + 5)) << i;
            ASSERT_TRUE(there.masked && there.final && there.payload == pattern(size, i)) << i;
        }
    }
}

TEST_F(link_test, partial_output_keeps_order_and_frames) {
    connect();
    server.reading = false;
    for (unsigned i = 0; i < 20; ++i) {
        push(pattern(600000, i));
        push("small " + std::to_string(i));
    }
    for (int i = 0; i < 5; ++i)
        turn(9000);  // a ping is due, and must wait
    EXPECT_EQ(server.pings, 0);
    server.reading = true;
    ASSERT_TRUE(until([this] { return server.received.size() == 40 && server.pings == 1; }));
    const std::vector<std::string> texts = server.texts();
    for (unsigned i = 0; i < 20; ++i) {
        EXPECT_TRUE(texts[2 * i] == pattern(600000, i)) << i;
        EXPECT_EQ(texts[2 * i + 1], "small " + std::to_string(i));
    }
}

TEST_F(link_test, internal_messages) {
    connect();
    statuses.clear();
    struct {
        const char *text, *status;
        bool sent;
    } const cases[] = {
        {R"({"service":"internal-ipc","cmd":"status"})", "+", false},
        {R"({"service":"\u0069NTERNAL-IPC","cmd":"StatuS"})", "+", false},
        {R"({"service":"internal-ipc","cmd":"unknown"})", "", false},
        {R"({"service":"internal-ipc2","cmd":"status"})", "", true},
        {R"({"service":"rrm","cmd":"status","text":"internal-ipc"})", "", true},
        {R"({"command":"update-timezone"})", "", true},
        {R"({"service":"internal-ipc","cmd":"status")", "", true},
    };
    for (const auto& entry : cases) {
        server.received.clear();
        statuses.clear();
        push(entry.text);
        push("end");
        ASSERT_TRUE(until([this] { return !server.received.empty() && server.received.back().payload == "end"; }));
        EXPECT_EQ(statuses, entry.status) << entry.text;
        ASSERT_EQ(server.received.size(), entry.sent ? 2u : 1u) << entry.text;
        EXPECT_EQ(server.received[0].payload, entry.sent ? entry.text : "end");
    }

    setenv("TZ", "UTC-5", 1);
    worker->handle_internal(*message(R"({"command":"Update-Timezone"})"));
    EXPECT_NE(timezone, -5 * 3600);
    EXPECT_FALSE(worker->handle_internal(*message(R"({"command":"update-timezone"})")));
    EXPECT_EQ(timezone, -5 * 3600);
    unsetenv("TZ");
    tzset();

    push(R"({"service":"internal-ipc","cmd":"unlink"})");
    ASSERT_TRUE(until([this] { return !initialized; }));
    server.step();
    EXPECT_FALSE(server.open());
    statuses.clear();
    push(R"({"service":"internal-ipc","cmd":"status"})");
    push("dropped");
    EXPECT_FALSE(until([this] { return initialized; }, 0, 10));
    EXPECT_EQ(statuses, std::string(11, '-'));
    EXPECT_EQ(server.accepted, 1);
}

TEST_F(link_test, pings_and_pongs) {
    connect();
    const double start = clock.now_s();
    ASSERT_TRUE(until([&] { return clock.now_s() - start > 300; }, 1000));
    EXPECT_EQ(server.pings, 10);
    EXPECT_EQ(statuses, "-+");
    // Two pings without a pong, then a pong: the count starts again.
    server.answer_pings = false;
    for (int round = 0; round < 3; ++round) {
        const int before = server.pings;
        ASSERT_TRUE(until([&] { return server.pings == before + 2; }, 1000));
        server.send_frame(10, "late");
    }
    turn(1000);
    EXPECT_EQ(statuses, "-+");
    // Nor does a new connection reset it.
    const int before = server.pings;
    ASSERT_TRUE(until([&] { return server.pings == before + 2; }, 1000));
    server.hang_up();
    ASSERT_TRUE(until([this] { return !initialized; }));
    connect();
    log_capture log(log_debug_bit);
    ASSERT_TRUE(until([this] { return !initialized; }, 1000));
    EXPECT_EQ(server.pings, before + 3);
    EXPECT_EQ(log.count("websock-rrm->There are no 3 pong answer in a row from server\n"), 1);
}

TEST_F(link_test, status_waits_for_room_in_the_queue) {
    const std::string large(1024 * 1024, 'x');
    for (const bool connecting : {false, true}) {  // full before the first status, or before the second
        statuses.clear();
        if (connecting) until([this] { return initialized; });
        while (from_service.push(message(large))) {
        }
        while (from_service.push(message("x"))) {
        }
        reading_inbox = false;
        log_capture log(log_warning_bit);
        ASSERT_TRUE(until([this] { return server.open(); }));
        server.send_text("lost");
        for (int i = 0; i < 5; ++i)
            turn();
        EXPECT_EQ(log.count("queue is full, message of 4 bytes is lost\n"), 1);
        reading_inbox = true;
        take_inbox();
        turn();
        server.send_text("kept");
        ASSERT_TRUE(until([this] { return !inbox.empty() && inbox.back() == "kept"; }));
        EXPECT_EQ(statuses, "-+");
        EXPECT_EQ(inbox[inbox.size() - 2], "x");
        server.hang_up();
        ASSERT_TRUE(until([this] { return !initialized; }));
    }
}

TEST_F(link_test, what_a_dead_link_leaves_behind) {
    const struct {
        int mode;
        std::size_t unread;
        std::vector<std::string> sent, received;
        const char* statuses;
    } cases[] = {{corvane_mode, 1, {"new"}, {}, "-+"},
                 {roaming_mode, 5, {"from before the link", "new"}, {"an order"}, "-+--+"}};
    for (const auto& entry : cases) {
        mode = entry.mode;
        make();
        take_inbox();
        statuses.clear();
        reading_inbox = false;
        ASSERT_TRUE(until([this] { return server.open(); }));
        server.send_text("an order");
        ASSERT_TRUE(until([&] { return from_service.size() == 3; }));  // behind "disconnected" and "connected"
        server.hang_up();
        ASSERT_TRUE(until([this] { return !initialized; }));
        ASSERT_TRUE(until([this] { return initialized; })) << "the next attempt";
        EXPECT_EQ(from_service.size(), entry.unread);
        push("from before the link");
        server.received.clear();
        reading_inbox = true;
        connect();
        push("new");
        ASSERT_TRUE(until([this] { return !server.texts().empty() && server.texts().back() == "new"; }));
        EXPECT_EQ(server.texts(), entry.sent);
        EXPECT_EQ(inbox, entry.received);
        EXPECT_EQ(statuses, entry.statuses);
        server.hang_up();
    }
}

TEST_F(link_test, waits_until_there_is_something_to_do) {
    connect();
    turn();
    const auto seconds = [](auto work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    int turns = 0;
    const auto serve = [&](auto condition) {
        for (turns = 0; !condition() && turns < 1000; ++turns) {
            worker->process();
            server.step();
            take_inbox();
        }
    };
    const auto soon = [](auto act) {
        return std::thread([act] {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            act();
        });
    };
    EXPECT_GT(seconds([this] { worker->process(); }), 0.95);  // a busy machine may make it longer
    std::thread producer = soon([this] { to_service.push(message("a")); });
    EXPECT_LT(seconds([&] { serve([this] { return !server.received.empty(); }); }), 0.9);
    EXPECT_LT(turns, 10);
    producer.join();
    std::thread sender = soon([this] {
        server.send_text("b");
        server.step();
    });
    EXPECT_LT(seconds([&] { worker->process(); }), 0.9);
    sender.join();
    take_inbox();
    EXPECT_EQ(inbox, std::vector<std::string>{"b"});

    const auto pushing = [this] {
        for (int i = 0; i < 1000; ++i)
            to_service.push(message(std::to_string(i)));
    };
    server.received.clear();
    producer = std::thread(pushing);
    serve([this] { return server.received.size() >= 1000; });
    server.hang_up();
    std::thread late(pushing);  // against the end of the link
    EXPECT_TRUE(until([this] { return !initialized; }));
    producer.join();
    late.join();
    ASSERT_EQ(server.received.size(), 1000u);
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(server.received[i].payload, std::to_string(i));
}

TEST_F(link_test, idle_turns_allocate_nothing) {
    lws_set_allocator(counted_library_memory);
    connect();
    const auto idle = [this](int turns) {
        for (; turns > 0; --turns) {
            worker->wake();
            worker->process();
            clock.advance_ms(10);
        }
    };
    idle(10);
    const long before = allocations() + library_allocations;
    idle(1000);
    EXPECT_EQ(allocations() + library_allocations - before, 0);
}

TEST_F(link_test, library_output_only_with_debug_output) {
    for (const bool debug : {false, true}) {
        log_capture log(debug ? log_debug_bit : log_error_bit | log_warning_bit);
        connect();
        EXPECT_EQ(log.count("rrm->libwebsocket-debug> ") > 0, debug);
        EXPECT_EQ(log.text().empty(), !debug) << log.text();
        server.hang_up();
        until([this] { return !initialized; });
    }
    worker.reset();  // deinit by the destructor
    EXPECT_FALSE(current_lws_callback);
}

}  // namespace
}  // namespace ravd::testing

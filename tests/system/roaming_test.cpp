// The roaming mode from end to end: a peer on the bus, the real daemon, a websocket server.
#include <algorithm>

#include "platform/portable/bus_endpoint.h"
#include "platform/sim/socket_io.h"
#include "tests/link/raw_server.h"
#include "tests/system/daemon_fixture.h"

namespace ravd {
namespace {

using namespace testing;

constexpr int daemon_module = 2;
constexpr int peer_module = 3;

class Roaming : public daemon_test {
  protected:
    void SetUp() override {
        peer = bus_endpoint::open(bus(), peer_module);
        ASSERT_TRUE(peer && peer->start());
    }
    // Moves what can be moved until `holds`.
    bool until(const std::function<bool()>& holds, int limit_ms = 60000) {
        return eventually(limit_ms, [&] {
            server.step();
            for (bus_message message; peer->receive(message);) {
                const std::string text(message.text());
                if (text.find("internal-ipc") == text.npos)
                    at_peer.push_back(text);
                else
                    statuses += text.find("\"disconnected\"") == text.npos ? '+' : '-';
            }
            return holds();
        });
    }
    bool up() const { return !statuses.empty() && statuses.back() == '+'; }
    void send(const std::string& text) { EXPECT_EQ(peer->send(daemon_module, text), bus_result::accepted); }

    // These arrive, whole and in order, whichever way they go; what an earlier step sent may arrive before them.
    void expect_exchange(const std::vector<std::string>& texts) {
        at_peer.clear();
        server.received.clear();
        for (const std::string& text : texts) {
            send(text);
            server.send_text(text);
        }
        const auto came = [&texts](const std::vector<std::string>& all) {
            return all.size() >= texts.size() && std::equal(texts.rbegin(), texts.rend(), all.rbegin());
        };
        EXPECT_TRUE(until([&] { return came(at_peer) && came(server.texts()); }))
            << at_peer.size() << " " << server.received.size();
    }

    raw_server server;
    std::unique_ptr<bus_endpoint> peer;
    std::vector<std::string> at_peer;
    std::string statuses;
};

TEST_F(Roaming, CarriesEverythingBothWaysThroughLossAndGarbage) {
    process daemon = start({"-f", config("roam", server.port)});
    ASSERT_TRUE(until([&] { return up(); }));
    EXPECT_EQ(statuses, "-+");
    EXPECT_NE(server.request.find("GET /p HTTP/1.1\r\n"), std::string::npos);
    EXPECT_NE(server.request.find("Sec-WebSocket-Protocol: websock-roaming\r\n"), std::string::npos);

    std::vector<std::string> many(10000);
    for (std::size_t i = 0; i < many.size(); ++i)
        many[i] = std::to_string(i) + std::string(200 - std::to_string(i).size(), '.');
    expect_exchange(many);
    std::string large(5 * 1024 * 1024, '\0');
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<char>(i * 7 + i / 256);
    expect_exchange({"before", large, "after"});

    // What is no message of ours passes by; what breaks a frame ends that connection alone.
    const std::string garbage[] = {"{",
                                   std::string(3, '\0'),
                                   "\xFF\xFE",
                                   R"({"service":"internal-ipc","cmd":7})",
                                   R"({"service":"internal-ipc"})",
                                   std::string(40, '['),
                                   "null"};
    for (const std::string& text : garbage) {
        send(text);
        server.send_text(text);
        server.send_frame(2, text);
    }
    unique_fd stranger = sim::connect_unix(bus() + "/2.sock");
    EXPECT_TRUE(sim::send_all(stranger.get(), std::string(4000, '\xFF').data(), 4000));
    stranger.reset();
    server.send_frame(1, "cut", false);
    server.send_bytes(std::string(4000, '\xFF'));
    ASSERT_TRUE(until([&] { return !up(); })) << "broken frames end the link";
    ASSERT_TRUE(until([&] { return up(); })) << "and it comes back";
    expect_exchange({"after", "garbage"});

    for (const bool with_reset : {false, true}) {
        server.hang_up(with_reset);
        ASSERT_TRUE(until([&] { return !up(); }));
        ASSERT_TRUE(until([&] { return up(); }));
        expect_exchange({"after", "a", "loss"});
    }
    // The peer on the bus may come and go.
    peer->stop();
    server.send_text("nobody is there");
    EXPECT_TRUE(until([] { return false; }, 300) || peer->start());
    expect_exchange({"peer", "is", "back"});
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(60000), 0);
}

}  // namespace
}  // namespace ravd

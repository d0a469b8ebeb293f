// Bytes between an agent and the engine: pings taken out, bytes put in, in pieces of every size.
#include "sim/service/wire.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ravd::lab {
namespace {

const std::string handshake = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

std::string frame(unsigned char first, const std::string& payload, bool masked) {
    std::string out(1, static_cast<char>(first));
    const char mask_bit = masked ? '\x80' : '\0';
    if (payload.size() < 126) {
        out += static_cast<char>(payload.size() | static_cast<unsigned char>(mask_bit));
    } else {
        out += static_cast<char>(126 | static_cast<unsigned char>(mask_bit));
        out += static_cast<char>(payload.size() >> 8);
        out += static_cast<char>(payload.size() & 255);
    }
    return out + (masked ? "MASK" : "") + payload;
}

TEST(FrameFilter, TakesPingsOutWhateverThePieces) {
    const std::string text = frame(0x81, std::string(300, 'x'), true);
    const std::string ping = frame(0x89, "abc", true);
    const std::string empty = frame(0x89, "", true);
    const std::string stream = handshake + ping + text + empty + text + ping;
    for (std::size_t piece = 1; piece < stream.size(); piece += piece < 20 ? 1 : 97) {
        frame_filter filter;
        std::string out;
        int pings = 0;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            const std::string part = stream.substr(at, piece);
            filter.feed(part.data(), part.size(), out, [&](const frame_filter::frame& f) {
                pings += f.opcode == 9;
                return f.opcode != 9;
            });
        }
        EXPECT_EQ(out, handshake + text + text) << piece;
        EXPECT_EQ(pings, 3);
        EXPECT_TRUE(filter.at_boundary());
    }
}

TEST(FrameFilter, KnowsWhereAFrameEnds) {
    frame_filter filter;
    std::string out;
    const auto keep = [](const frame_filter::frame&) { return true; };
    const std::string text = frame(0x81, "hello", false);
    const std::string stream = "\r\r\n\r\n" + text;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        const bool boundary = i == 5 || i == stream.size();
        EXPECT_EQ(filter.at_boundary(), boundary) << i;
        filter.feed(&stream[i], 1, out, keep);
    }
    EXPECT_TRUE(filter.at_boundary());
    const char endless[] = "\x82\x7f\xff\xff\xff\xff\xff\xff\xff\xff";
    filter.feed(endless, 10, out, keep);
    filter.feed(stream.data(), stream.size(), out, keep);
    EXPECT_FALSE(filter.at_boundary());
}

class Wire : public testing::Test {
  protected:
    Wire() {
        int tcp[2];
        int engine[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, tcp), 0);
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, engine), 0);
        for (const int fd : {tcp[0], tcp[1], engine[0], engine[1]})
            fcntl(fd, F_SETFL, O_NONBLOCK);
        agent = tcp[0];
        service = engine[0];
        relay = std::make_unique<wire>(tcp[1], engine[1]);
    }
    ~Wire() override {
        close(agent);
        close(service);
    }
    static void put(int fd, const std::string& bytes) {
        EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    static std::string get(int fd) {
        char bytes[4096];
        const ssize_t n = recv(fd, bytes, sizeof bytes, 0);
        return n < 0 ? "nothing" : std::string(bytes, static_cast<std::size_t>(n));
    }
    int agent;
    int service;
    std::unique_ptr<wire> relay;
};

TEST_F(Wire, InjectsBetweenFramesOnly) {
    const std::string text = frame(0x81, "hello", false);
    put(service, handshake + text.substr(0, 4));
    relay->inject("RAW");
    relay->pump(0);
    EXPECT_EQ(get(agent), handshake + text.substr(0, 2) + text.substr(2, 2));
    EXPECT_TRUE(relay->injecting());
    put(service, text.substr(4));
    relay->pump(0);
    EXPECT_EQ(get(agent), text.substr(4) + "RAW");
    EXPECT_FALSE(relay->injecting());
}

TEST_F(Wire, MutesStopsReadingAndEnds) {
    put(agent, handshake);
    relay->pump(0);
    EXPECT_EQ(get(service), handshake);
    relay->set_mute(true);
    put(agent, frame(0x89, "", true) + frame(0x81, "a", true));
    relay->pump(0);
    EXPECT_EQ(get(service), frame(0x81, "a", true));
    EXPECT_EQ(relay->pings(), 1u);
    relay->set_reading(false);
    put(agent, frame(0x81, "b", true));
    relay->pump(0);
    EXPECT_EQ(get(service), "nothing");
    relay->set_reading(true);
    relay->pump(0);
    EXPECT_EQ(get(service), frame(0x81, "b", true));
    shutdown(agent, SHUT_WR);
    relay->pump(0);
    EXPECT_EQ(get(service), "");
    EXPECT_FALSE(relay->finished());
    shutdown(service, SHUT_WR);
    relay->pump(0);
    relay->pump(0);
    EXPECT_TRUE(relay->finished());
}

}  // namespace
}  // namespace ravd::lab

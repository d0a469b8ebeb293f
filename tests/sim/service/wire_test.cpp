// Bytes between an agent and the engine: pings taken out, bytes put in, in pieces of every size.
#include "sim/service/wire.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ravd::sim {
namespace {

const std::string handshake = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

// Of less than 126 bytes, or of 300.
std::string frame(char first, const std::string& payload, bool masked = true) {
    const char size = static_cast<char>(payload.size() < 126 ? payload.size() : 126);
    std::string head = {first, masked ? static_cast<char>(size | '\x80') : size};
    if (size == 126) head += "\x01\x2c";
    return head + (masked ? "MASK" : "") + payload;
}

TEST(FrameFilter, TakesPingsOutWhateverThePieces) {
    const std::string text = frame('\x81', std::string(300, 'x'));
    const std::string ping = frame('\x89', "abc");
    const std::string stream = handshake + ping + text + frame('\x89', "") + text + ping;
    const auto keep = [](const frame_filter::frame& f) { return f.opcode != 9; };
    std::string out;
    for (std::size_t piece = 1; piece < stream.size(); piece += piece < 20 ? 1 : 97) {
        frame_filter filter;
        out.clear();
        for (std::size_t at = 0; at < stream.size(); at += piece)
            filter.feed(&stream[at], std::min(piece, stream.size() - at), out, keep);
        EXPECT_EQ(out, handshake + text + text) << piece;
        EXPECT_TRUE(filter.at_boundary());
        const std::string endless = "\x82\x7f" + std::string(8, '\xff') + stream;
        filter.feed(endless.data(), endless.size(), out, keep);
        EXPECT_FALSE(filter.at_boundary());
    }
}

TEST(Wire, InjectsBetweenFramesOnly) {
    int tcp[2];
    int engine[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, tcp) + socketpair(AF_UNIX, SOCK_STREAM, 0, engine), 0);
    for (const int fd : {tcp[0], tcp[1], engine[0], engine[1]})
        fcntl(fd, F_SETFL, O_NONBLOCK);
    event_loop loop;
    wire relay(loop, unique_fd(tcp[1]), unique_fd(engine[1]), [] {});
    const std::string stream = "\r\r\n\r\n" + frame('\x81', "hello", false) + frame('\x82', "", false);
    for (std::size_t i = 1; i <= stream.size(); ++i) {
        relay.inject("RAW");
        ASSERT_EQ(send(engine[0], &stream[i - 1], 1, 0), 1);
        relay.pump(0);
        EXPECT_EQ(relay.injecting(), i != 5 && i != 12 && i != 14) << i;  // behind the handshake and each frame
    }
    char bytes[100];
    const ssize_t n = recv(tcp[0], bytes, sizeof bytes, 0);
    ASSERT_GT(n, 0);
    EXPECT_EQ(std::string(bytes, static_cast<std::size_t>(n)),
              stream.substr(0, 5) + "RAW" + stream.substr(5, 7) + "RAW" + stream.substr(12) + "RAW");
    close(tcp[0]);
    close(engine[0]);
}

}  // namespace
}  // namespace ravd::sim

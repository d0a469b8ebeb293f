// What the bus tests share: a directory of the test program, endpoints in it, and a peer made of bare sockets.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/portable/bus_endpoint.h"
#include "platform/portable/bus_frame.h"

namespace ravd::testing {

// The simulation's directory of this process, removed at its end.
inline const std::string& sim_directory() {
    static const std::string directory = [] {
        char name[] = "/tmp/ravd-bus-XXXXXX";
        if (!mkdtemp(name) || setenv("RAVD_SIM_DIR", name, 1) != 0) std::abort();
        return std::string(name);
    }();
    static const int at_exit = std::atexit([] { (void)!std::system(("rm -rf " + sim_directory()).c_str()); });
    (void)at_exit;
    return directory;
}

inline std::string bus_directory() { return sim_directory() + "/run/ravd-bus"; }

inline std::unique_ptr<bus_endpoint> started(int module) {
    std::string error;
    auto bus = bus_endpoint::open(bus_directory(), module, &error);
    EXPECT_TRUE(bus && bus->start()) << error;
    return bus;
}

inline void wait_for(int fd) {
    pollfd entry{fd, POLLIN, 0};
    ASSERT_EQ(poll(&entry, 1, 10000), 1) << "nothing came";
}

// The next message; one without a block when none comes.
inline bus_message take(bus_endpoint& bus) {
    bus_message message;
    while (!bus.receive(message)) {
        wait_for(bus.descriptor());
        if (::testing::Test::HasFatalFailure()) break;
    }
    return message;
}

inline std::string text_of(const bus_message& message) {
    return message.block ? std::string(message.text()) : "nothing";
}

inline std::string frame(int source, int destination, const std::string& text,
                         bus_frame_kind kind = bus_frame_kind::message) {
    unsigned char head[mbus_header_size];
    encode_bus_header({source, destination, static_cast<std::uint32_t>(text.size()), kind}, head);
    return std::string(reinterpret_cast<char*>(head), sizeof head) + text;
}

inline std::string hello(int source, int destination) { return frame(source, destination, "", bus_frame_kind::hello); }

// A bare socket: connected to a module, or listening as one.
class raw_peer {
  public:
    explicit raw_peer(int module, bool listening = false) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = bus_directory() + "/" + std::to_string(module) + ".sock";
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
        const auto* name = reinterpret_cast<const sockaddr*>(&address);
        if (listening)
            EXPECT_TRUE(bind(fd_, name, sizeof address) == 0 && listen(fd_, 1) == 0) << std::strerror(errno);
        else
            EXPECT_EQ(connect(fd_, name, sizeof address), 0) << std::strerror(errno);
    }
    raw_peer(const raw_peer&) = delete;
    raw_peer& operator=(const raw_peer&) = delete;
    ~raw_peer() { close(fd_); }

    void write(const std::string& bytes) {
        EXPECT_EQ(send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    // Up to `count` bytes; fewer at the end of the connection.
    std::string read(std::size_t count) {
        std::string bytes(count, '\0');
        const ssize_t n = recv(fd_, bytes.data(), count, MSG_WAITALL);
        bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        return bytes;
    }
    int fd() const { return fd_; }

  private:
    int fd_;
};

}  // namespace ravd::testing

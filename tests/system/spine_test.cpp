// Start and stop of the real daemon, without an access point and without a service.

#include <arpa/inet.h>
#include <dirent.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <fstream>
#include <iterator>

#include "tests/system/process.h"

namespace ravd {
namespace {

using testing::eventually;
using testing::process;

class Spine : public ::testing::Test {
  protected:
    Spine() {
        char name[] = "/tmp/ravd-spine-XXXXXX";
        directory_ = mkdtemp(name);
        setenv("RAVD_SIM_DIR", directory_.c_str(), 1);
        for (const char* sub : {"/run", "/tmp"})
            mkdir((directory_ + sub).c_str(), 0755);
    }
    ~Spine() override { EXPECT_EQ(std::system(("rm -rf " + directory_).c_str()), 0); }

    std::string write_config(const std::string& text) {
        std::ofstream(directory_ + "/conf") << text;
        return directory_ + "/conf";
    }
    process start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), RAVD_SIM_PROGRAM);
        return process(std::move(arguments), output());
    }
    int status_of(std::vector<std::string> arguments) { return start(std::move(arguments)).wait(5000); }
    std::string output() const { return directory_ + "/output"; }
    bool written(const std::string& piece) const {
        std::ifstream file(output());
        return std::string(std::istreambuf_iterator<char>(file), {}).find(piece) != std::string::npos;
    }
    bool bus_socket_left() const {
        DIR* bus = opendir((directory_ + "/run/ravd-bus").c_str());
        bool found = false;
        while (const dirent* entry = bus ? readdir(bus) : nullptr)
            found |= entry->d_type == DT_SOCK;
        if (bus) closedir(bus);
        return found;
    }

    std::string directory_;
};

TEST_F(Spine, EndsAtOnceWithNothingToDo) {
    EXPECT_EQ(status_of({}), 0);
    EXPECT_EQ(status_of({"-d", "host", "-p", "/path", "-P", "80"}), 0);
    EXPECT_EQ(status_of({"-f", directory_}), 0);
    EXPECT_EQ(status_of({"-f", directory_ + "/none"}), 0);
    for (const std::string& text :
         {std::string(), std::string(100000, 'r'), std::string(5000, '\0'), std::string("corvane_service_url=h/p\n")})
        EXPECT_EQ(status_of({"-f", write_config(text)}), 0);
    EXPECT_FALSE(written("Proto"));
    EXPECT_EQ(status_of({"-f", write_config("roam_service_url=wss://h:1/p\nroam_service_url=h:1/p\n")}), 0);
    EXPECT_TRUE(written("Proto wss is invalid\n"));
}

TEST_F(Spine, RefusesUnknownOptions) {
    for (const char* option : {"-x", "-f", "-P"})
        EXPECT_EQ(status_of({option}), 255) << option;
}

TEST_F(Spine, StopsWithinThreeSecondsWhileWaiting) {
    for (const int signal : {SIGTERM, SIGINT}) {
        for (const std::string mode : {"roam", "corvane"}) {
            unlink(output().c_str());
            process daemon = start({"-f", write_config(mode + "_service_url=127.0.0.1:1/p\nlog_level=8\n"
                                                              "initial_connection_delay=9999\n"
                                                              "max_connection_delay=9999\n")});
            EXPECT_TRUE(eventually(5000, [&] { return written("Delay before connection") && bus_socket_left(); }));
            daemon.signal(signal);
            EXPECT_EQ(daemon.wait(3000), 0) << mode;
            EXPECT_TRUE(written("ravd_handle_signal: TERM\n")) << mode;
            EXPECT_FALSE(bus_socket_left()) << mode;
        }
    }
}

TEST_F(Spine, StopsWithinThreeSecondsWhileConnecting) {
    // Takes the connection and never answers.
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(server, 5), 0);
    getsockname(server, reinterpret_cast<sockaddr*>(&address), &length);
    const std::string url = "_service_url=ws://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/p\n";

    for (const std::string mode : {"roam", "corvane"}) {
        process daemon = start({"-f", write_config(mode + url)});
        pollfd connected{server, POLLIN, 0};
        EXPECT_EQ(poll(&connected, 1, 8000), 1) << mode;
        daemon.signal(SIGTERM);
        EXPECT_EQ(daemon.wait(3000), 0) << mode;
        EXPECT_FALSE(bus_socket_left()) << mode;
        close(accept(server, nullptr, nullptr));
    }
    close(server);
}

}  // namespace
}  // namespace ravd

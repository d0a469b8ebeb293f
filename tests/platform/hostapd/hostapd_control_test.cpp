// Control sockets against a hostapd of the test, on real sockets: answers that are late, long or mixed with events, and
// hostapd's end and return.
#include "platform/hostapd_control.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "platform/unique_fd.h"

namespace ravd {
namespace {

// Answers a request by its text: "say X" with X, "late X" with X only before the next answer, "hide" never.
class server {
  public:
    explicit server(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ::unlink(path.c_str());
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~server() {
        ::shutdown(socket_.get(), SHUT_RDWR);
        thread_.join();
    }

  private:
    void serve() {
        std::function<void()> late;
        for (;;) {
            char text[256];
            sockaddr_un from{};
            socklen_t length = sizeof from;
            const ssize_t size =
                ::recvfrom(socket_.get(), text, sizeof text, 0, reinterpret_cast<sockaddr*>(&from), &length);
            if (size <= 0) return;
            const auto answer = [this, from, length](const std::string& what) {
                ::sendto(socket_.get(), what.data(), what.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
            };
            const std::string request(text, static_cast<std::size_t>(size));
            if (late) std::exchange(late, nullptr)();
            if (request == "ATTACH") {
                answer("<3>BEFORE");
                answer("OK\n");
                answer("<3>AP-STA-CONNECTED 02:00:00:00:00:01\n");
                answer("IFNAME=wlan0-va0 <3>AP-ENABLED");
            } else if (request == "PING") {
                answer("PONG\n");
                answer("<4>AFTER");
            } else if (request == "long") {
                answer(std::string(hostapd_reply_limit + 1, 'x'));
            } else if (request.compare(0, 5, "late ") == 0) {
                late = [answer, request] { answer(request.substr(5)); };
            } else if (request.compare(0, 4, "say ") == 0) {
                answer("<3>meanwhile");
                answer(request.substr(4));
            }
        }
    }

    unique_fd socket_;
    std::thread thread_;
};

class hostapd_control_test : public ::testing::Test {
  protected:
    hostapd_control_test() {
        char name[] = "/tmp/ravd-test-XXXXXX";
        directory = mkdtemp(name);
    }
    ~hostapd_control_test() override {
        ::unlink((directory + "/wlan0-va0").c_str());
        ::rmdir(directory.c_str());
    }
    std::string directory;
    std::string reply;
};

constexpr int long_ms = 30000;

TEST_F(hostapd_control_test, answers_are_those_of_their_request) {
    hostapd_control control("wlan0-va0", directory);
    EXPECT_EQ(control.request("say early", reply, long_ms), hostapd_result::absent);
    {
        server first(directory + "/wlan0-va0");
        EXPECT_EQ(control.request("say one\ntwo\n", reply, long_ms), hostapd_result::answered);
        EXPECT_EQ(reply, "one\ntwo");
        EXPECT_EQ(control.process(), ::getpid());
        EXPECT_EQ(control.request("late wrong", reply, 20), hostapd_result::no_answer);
        EXPECT_EQ(control.request("say right", reply, long_ms), hostapd_result::answered);
        EXPECT_EQ(reply, "right");
        EXPECT_EQ(control.request("long", reply, long_ms), hostapd_result::too_long);
        EXPECT_EQ(reply, "");
        EXPECT_TRUE(control.order("say OK\n", long_ms));
        EXPECT_FALSE(control.order("say FAIL\n", long_ms));
        EXPECT_EQ(control.request("say <b>", reply, long_ms), hostapd_result::answered);
    }
    EXPECT_EQ(control.request("say gone", reply, long_ms), hostapd_result::absent);
    server second(directory + "/wlan0-va0");
    EXPECT_EQ(control.request("say back", reply, long_ms), hostapd_result::answered);
    EXPECT_EQ(reply, "back");
}

TEST_F(hostapd_control_test, events_come_without_answers_and_end_with_hostapd) {
    hostapd_events events("wlan0-va0", directory);
    EXPECT_EQ(events.attach(long_ms), hostapd_result::absent);
    std::string event;
    const auto wait = [&] {
        pollfd entry{events.descriptor(), POLLIN, 0};
        while (!events.next(event))
            ASSERT_EQ(::poll(&entry, 1, long_ms), 1);
    };
    {
        server first(directory + "/wlan0-va0");
        ASSERT_EQ(events.attach(long_ms), hostapd_result::answered);
        wait();
        EXPECT_EQ(event, "AP-STA-CONNECTED 02:00:00:00:00:01");
        wait();
        EXPECT_EQ(event, "AP-ENABLED");
        EXPECT_FALSE(events.next(event));
        events.verify();
        wait();
        EXPECT_EQ(event, "AFTER");
        EXPECT_TRUE(events.attached());
    }
    events.verify();
    EXPECT_FALSE(events.attached());
    EXPECT_EQ(events.descriptor(), -1);
    server second(directory + "/wlan0-va0");
    EXPECT_EQ(events.attach(long_ms), hostapd_result::answered);
}

}  // namespace
}  // namespace ravd

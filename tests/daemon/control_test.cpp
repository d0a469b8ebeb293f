#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "daemon/control_server.h"
#include "message/status_page.h"
#include "platform/unique_fd.h"
#include "tests/core/log_capture.h"

namespace ravd {
namespace {

using testing::fake_system;

class asked_worker final : public abstract_worker {
  public:
    explicit asked_worker(const char* name) : abstract_worker(&flag, name, 0, 0) {}
    bool init() override { return true; }
    bool process() override { return true; }
    void deinit() override {}
    bool is_alive(const run_flag*) override { return false; }
    std::string describe_status() override {
        now_s();  // as what it tells may need
        status_page page;
        page.number(name(), ++told);
        return page.take();
    }

    run_flag flag{true};
    int told = 0;
};

class Control : public ::testing::Test {
  protected:
    void serve() {
        fd_set readable;
        FD_ZERO(&readable);
        int highest = -1;
        server.prepare(readable, highest);
        timeval none{};
        ASSERT_GE(select(highest + 1, &readable, nullptr, nullptr, &none), 0);
        server.serve(readable);
    }
    unique_fd connected() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path.c_str());
        unique_fd fd(socket(AF_UNIX, SOCK_STREAM, 0));
        EXPECT_EQ(connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        serve();
        return fd;
    }
    void send_text(const unique_fd& fd, const std::string& text) {
        EXPECT_EQ(send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
        serve();
    }
    // What came; "closed" at the end of the connection.
    static std::string taken(const unique_fd& fd) {
        char text[4096];
        const ssize_t got = recv(fd.get(), text, sizeof text, MSG_DONTWAIT);
        return got == 0 ? "closed" : std::string(text, got > 0 ? static_cast<std::size_t>(got) : 0);
    }

    std::string path = fake_system::get().root() + "/run/ravd/control.sock";
    control_server server{"\"mode\":\"agent\""};
    asked_worker one{"one"};
    asked_worker two{"two"};
};

TEST_F(Control, StatusWaitsForTheWorkersButNotForever) {
    server.listen_at(path);
    server.ask_also(one);
    server.ask_also(two);
    one.progress().tick();
    two.progress().tick();
    const unique_fd first = connected();
    const unique_fd second = connected();
    send_text(first, "status\n");
    send_text(second, "status\n");
    one.progress().tick();
    serve();
    EXPECT_EQ(taken(first), "");
    two.progress().tick();
    serve();
    const std::string mask = std::to_string(process_log.mask);
    const std::string whole = "{\"mode\":\"agent\",\"log_level\":" + mask +
                              ",\"workers\":{\"one\":{\"clock_age\":0,\"answers\":true},"
                              "\"two\":{\"clock_age\":0,\"answers\":true}},\"one\":1,\"two\":1}\n";
    EXPECT_EQ(taken(first), whole);
    EXPECT_EQ(taken(second), whole);

    // One that is busy shows what it told before.
    send_text(first, "status\n");
    one.progress().tick();
    fake_system::get().advance_ms(2000);
    serve();
    const std::string half = taken(first);
    EXPECT_NE(half.find("\"two\":{\"clock_age\":2,\"answers\":false}"), std::string::npos) << half;
    EXPECT_NE(half.find("\"one\":2,\"two\":1}"), std::string::npos) << half;
    EXPECT_EQ(taken(second), "");
    fd_set nobody;
    int highest = -1;
    FD_ZERO(&nobody);
    EXPECT_EQ(server.prepare(nobody, highest), -1) << "nothing is due while nobody asks";
}

TEST_F(Control, Orders) {
    server.listen_at(path);
    const unique_fd client = connected();
    const std::uint32_t mask = process_log.mask;
    send_text(client, "log-level 0x");
    send_text(client, "b\nreconnect\nlog-level debug\nlog-level 70000\n\n");
    EXPECT_EQ(process_log.mask, 11u);
    process_log.mask = mask;
    const std::string no_order = "{\"error\":\"no such order\"}\n";
    const std::string no_mask = "{\"error\":\"not a mask\"}\n";
    EXPECT_EQ(taken(client), "{\"log-level\":11}\n" + no_order + no_mask + no_mask + no_order);
    int reconnects = 0;
    server.on_reconnect([&] { ++reconnects; });
    send_text(client, "reconnect\n");
    EXPECT_EQ(reconnects, 1);
    taken(client);
    send_text(client, std::string(200, 'x'));
    send_text(client, std::string(200, 'x'));
    EXPECT_EQ(taken(client), "closed");
    connected().reset();
    serve();
}

TEST_F(Control, ASocketIsTakenOverOnlyFromTheDead) {
    testing::log_capture log(log_warning_bit);
    server.listen_at(path);
    {
        control_server second{"\"mode\":\"agent\""};
        second.listen_at(path);
        second.listen_at(std::string(200, '/'));
    }
    EXPECT_EQ(log.count("no control socket at " + path + ": Address already in use\n"), 1);
    EXPECT_EQ(log.count("no control socket at " + std::string(200, '/') + ": File name too long\n"), 1);
    const unique_fd client = connected();
    serve();  // behind the connection with which the second looked
    send_text(client, "status\n");
    serve();
    EXPECT_EQ(taken(client).substr(0, 15), "{\"mode\":\"agent\"");

    // Left behind by one that was killed.
    const std::string left = fake_system::get().root() + "/run/left.sock";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, left.c_str());
    unique_fd killed(socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind(killed.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    killed.reset();
    control_server heir{"\"mode\":\"agent\""};
    heir.listen_at(left);
    EXPECT_EQ(log.count("no control socket at " + left + ": Address already in use\n"), 0);
    EXPECT_EQ(connect(unique_fd(socket(AF_UNIX, SOCK_STREAM, 0)).get(), reinterpret_cast<sockaddr*>(&address),
                      sizeof address),
              0);
}

}  // namespace
}  // namespace ravd

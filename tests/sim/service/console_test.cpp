// Lines of a control client: answers, waits, events that came between two lines, hostile clients.
#include "sim/service/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>

namespace ravd::lab {
namespace {

class Console : public testing::Test, public line_handler {
  protected:
    Console() {
        char name[] = "/tmp/lab-console-XXXXXX";
        directory = mkdtemp(name);
        std::string error;
        EXPECT_TRUE(under_test.listen_on(directory + "/control", error)) << error;
    }
    ~Console() override {
        unlink((directory + "/control").c_str());
        rmdir(directory.c_str());
    }
    // "wait EVENT" and "sleep" wait for ten seconds, "bad" fails, everything else is echoed.
    line_result handle_line(const std::string& line) override {
        line_result result;
        handled.push_back(line);
        if (line.rfind("wait ", 0) == 0) {
            result.wait = {true, line.substr(5), 0, 10};
        } else if (line == "sleep") {
            result.wait = {true, "", 0, 10};
        } else {
            result.good = line != "bad";
            result.reply = line;
        }
        return result;
    }
    bool already(const wait_request& wait) const override { return wait.event == state; }
    void wait_failed(const wait_request&) override { ++failed; }

    int client() {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        (directory + "/control").copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        turn(now);
        return fd;
    }
    void turn(double at) {
        now = at;
        for (int i = 0; i < 3; ++i) {
            std::vector<pollfd> entries;
            under_test.poll_entries(entries);
            poll(entries.data(), entries.size(), 0);
            under_test.turn(entries.data(), now);
        }
    }
    std::string said(int fd, const std::string& lines) {
        EXPECT_EQ(write(fd, lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
        turn(now);
        return answer(fd);
    }
    static std::string answer(int fd) {
        char bytes[4096];
        const ssize_t n = recv(fd, bytes, sizeof bytes, 0);
        return n <= 0 ? "" : std::string(bytes, static_cast<std::size_t>(n));
    }

    std::string directory;
    std::string state = "nothing";
    std::vector<std::string> handled;
    int failed = 0;
    double now = 100;
    console under_test{*this};
};

TEST_F(Console, AnswersEveryLine) {
    const int fd = client();
    EXPECT_EQ(said(fd, "one\n\nbad\ntw"), "one\nok\nerror: bad\n");
    EXPECT_EQ(said(fd, "o\n"), "two\nok\n");
    close(fd);
}

TEST_F(Console, WaitHoldsTheLinesBehindItBack) {
    const int fd = client();
    EXPECT_EQ(said(fd, "wait report\nnext\n"), "");
    under_test.event("other", 1);
    turn(105);
    EXPECT_EQ(answer(fd), "");
    under_test.event("report", 1);
    turn(106);
    EXPECT_EQ(answer(fd), "ok\nnext\nok\n");

    EXPECT_EQ(said(fd, "wait report\n"), "");  // that event is spent
    turn(116.5);
    EXPECT_EQ(answer(fd), "error: no report within the time\n");
    EXPECT_EQ(failed, 1);
    EXPECT_EQ(said(fd, "sleep\nx\n"), "");
    turn(127);
    EXPECT_EQ(answer(fd), "ok\nx\nok\n");
    EXPECT_EQ(failed, 1);
    state = "subscribed";
    EXPECT_EQ(said(fd, "wait subscribed\n"), "ok\n");
    close(fd);
}

TEST_F(Console, EventsBetweenTwoClientsAreNotLost) {
    int fd = client();
    said(fd, "scan\n");
    close(fd);
    turn(now);
    under_test.event("report", 1);
    fd = client();
    EXPECT_EQ(said(fd, "wait report\n"), "ok\n");
    close(fd);
    turn(now);
    fd = client();
    EXPECT_EQ(said(fd, "wait report\n"), "");
    close(fd);  // while it waits
    turn(120);
    EXPECT_EQ(handled.size(), 3u);
}

TEST_F(Console, ALineWithoutAnEndIsCutOff) {
    const int fd = client();
    const std::string part(1 << 20, 'x');
    for (int i = 0; i < 41 * 16; ++i) {
        const std::string piece = part.substr(0, 65536);
        if (send(fd, piece.data(), piece.size(), MSG_NOSIGNAL) <= 0) break;
        turn(now);
    }
    turn(now);
    EXPECT_EQ(answer(fd), "error: the line is too long\n");
    EXPECT_EQ(answer(fd), "");
    EXPECT_TRUE(handled.empty());
    close(fd);
}

TEST_F(Console, TakesThePlaceOfADeadSocketOnly) {
    std::string error;
    console second(*this);
    EXPECT_FALSE(second.listen_on(directory + "/control", error));
    EXPECT_THAT(error, testing::HasSubstr("cannot listen"));
    EXPECT_FALSE(second.listen_on(std::string(200, 'x'), error));
    const std::string dead = directory + "/dead";
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    dead.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(fd);
    EXPECT_TRUE(second.listen_on(dead, error)) << error;
}

}  // namespace
}  // namespace ravd::lab

// The end of the real daemon: by a signal, whatever it is doing, and by its watchdog.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "tests/link/raw_server.h"
#include "tests/system/daemon_fixture.h"

namespace ravd {
namespace {

using namespace testing;
using std::chrono::steady_clock;

class Stop : public daemon_test {
  protected:
    ~Stop() override { close(driver_); }

    // A driver whose calls never return.
    void hang_driver() {
        show_radio();
        driver_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (directory + "/radio.sock").copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(driver_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(listen(driver_, 5), 0);
    }
    bool driver_called() const {
        pollfd entry{driver_, POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }
    // Brings the daemon where `reached` holds, tells it to stop, and looks how it ended.
    void expect_stop(const char* what, const std::string& configuration, int signal,
                     const std::function<bool()>& reached, bool leaves_nothing = true) {
        process daemon = start({"-f", configuration});
        ASSERT_TRUE(eventually(60000, [&] { return server.step(), reached(); })) << what << "\n" << output();
        // A busy machine's share is not the daemon's: what both of us waited for a processor is taken off.
        const auto sum = [&] { return daemon.kept_waiting() + kept_waiting("self"); };
        const auto before = sum();
        const auto begin = steady_clock::now();
        daemon.signal(signal);
        EXPECT_EQ(daemon.wait(1000 * RAVD_STOP_LIMIT_S + 30000), 0) << what << "\n" << output();
        const auto took = steady_clock::now() - begin;
        unserved = sum() - before;
        EXPECT_LT(took - unserved, std::chrono::seconds(RAVD_STOP_LIMIT_S)) << what;
        EXPECT_FALSE(leaves_nothing && bus_socket_left()) << what;
        server.hang_up();
        server.drain_backlog();
    }

    raw_server server;
    std::chrono::nanoseconds unserved{};  // of the last stop
    int driver_ = -1;
};

TEST_F(Stop, WithinThreeSecondsInEveryStateOfTheLink) {
    for (const auto& [mode, signal] : {std::pair("roam", SIGTERM), std::pair("corvane", SIGINT)}) {
        const std::string debug = "log_level=15\n";
        const auto reached = [&](const char* line) { return [this, line] { return written(line); }; };
        server.how = manner::healthy;
        expect_stop("established", config(mode, server.port), signal, [&] { return server.open(); });
        write_file("/output", "");
        expect_stop("established, debug", config(mode, server.port, debug), signal,
                    reached("Connection established - reset"));
        EXPECT_TRUE(written("ravd_handle_signal: TERM\n"));
        server.how = manner::mute;
        server.accepted = 0;
        expect_stop("handshake", config(mode, server.port), signal, [&] { return server.accepted == 1; });
        write_file("/output", "");
        server.fill_backlog();
        server.how = manner::unreachable;
        expect_stop("connecting", config(mode, server.port, debug), signal, reached("Try to establish connect"));
        server.how = manner::healthy;
        write_file("/output", "");
        expect_stop("waiting", config(mode, 1, "initial_connection_delay=99\nmax_connection_delay=99\nlog_level=8\n"),
                    signal, reached("Delay before connection"));
    }
}

// A radio whose driver is reached by commands.
TEST_F(Stop, WithinThreeSecondsWhileACommandHangs) {
    show_radio();
    write_file("/proc/net/rtk_wifi6/wlan0/any", "");
    const std::string tool = write_file("/bin/iwpriv", "#!/bin/sh\n: > $RAVD_SIM_DIR/started\nsleep 60\n");
    chmod(tool.c_str(), 0755);
    const auto started = [&] { return access((directory + "/started").c_str(), F_OK) == 0; };
    expect_stop("command", config("corvane", server.port), SIGTERM, started);
}

TEST_F(Stop, WithinThreeSecondsWhileASystemCallHangs) {
    hang_driver();
    for (const int signal : {SIGTERM, SIGINT}) {
        show_radio();
        write_file("/output", "");
        expect_stop(
            "driver", config("corvane", server.port, "log_level=1\n"), signal, [&] { return driver_called(); }, false);
        // 300 ms late, it is ended before it can say so.
        EXPECT_TRUE(written("A worker is stuck, the process ends without it\n") ||
                    unserved > std::chrono::milliseconds(200));
        close(accept(driver_, nullptr, nullptr));
    }
#ifndef __SANITIZE_THREAD__  // which keeps a signal back while its thread waits for a lock
    // A log that nobody reads any more.
    log_name = "/pipe";
    ASSERT_EQ(mkfifo((directory + log_name).c_str(), 0600), 0);
    const int log = open((directory + log_name).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const auto fill_once_started = [&] {
        if (!bus_socket_left()) return false;
        while (write(log, "full", 4) > 0) {
        }
        return true;
    };
    expect_stop("log", config("roam", 1, "log_level=15\n"), SIGTERM, fill_once_started, false);
    close(log);
#endif
}

using WatchdogSlow = Stop;

TEST_F(WatchdogSlow, EndsTheProcessWhenASystemCallHangs) {
    hang_driver();
    process daemon = start({"-f", config("corvane", server.port, "log_level=8\n")});
    ASSERT_TRUE(eventually(60000, [&] { return driver_called(); }));
    const auto begin = steady_clock::now();
    EXPECT_EQ(daemon.wait(30000), 255);
    EXPECT_GT(steady_clock::now() - begin, std::chrono::seconds(9));
    const std::string log = output();
    int lines = 0;
    for (std::size_t at = 0;
         (at = log.find("time_monotonic: Time error, need restart, expired [", at + 1)) != log.npos;)
        ++lines;
    EXPECT_EQ(lines, 11);
    EXPECT_NE(log.find("] cnt 10\n"), log.npos);
}

}  // namespace
}  // namespace ravd

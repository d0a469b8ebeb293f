// Real commands, run by the kernel port of a device.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/system.h"

namespace ravd {
namespace {

std::string output_of(const std::string& command) {
    std::string output = "old";
    EXPECT_TRUE(sys::run_command_for_reading(command.c_str(), output)) << command;
    return output;
}

TEST(Command, CollectsWhatItWrites) {
    EXPECT_EQ(output_of("echo one; echo two >&2; exit 3"), "one\n");
    EXPECT_EQ(output_of("cat"), "");  // nothing to read
    EXPECT_EQ(output_of("/no/such/program"), "");
    const std::string large = output_of("head -c 200000 /dev/zero | tr '\\0' x");
    EXPECT_EQ(large, std::string(sys::command_output_limit, 'x'));
    EXPECT_TRUE(sys::run_command_for_writing("test \"$(cat)\" = '' && head -c 200000 /dev/zero"));
    EXPECT_EQ(output_of("exec >&-; sleep 0.05"), "");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // it has ended and is reaped
}

TEST(Command, InheritsNeitherSignalsNorDescriptors) {
    const auto before = signal(SIGPIPE, SIG_IGN);
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &old);
    const std::string ignored = output_of("exec sed -n 's/^SigIgn:.//p' /proc/self/status");
    const std::string blocked = output_of("exec sed -n 's/^SigBlk:.//p' /proc/self/status");
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    signal(SIGPIPE, before);
    EXPECT_EQ(std::stoull(ignored, nullptr, 16) >> (SIGPIPE - 1) & 1, 0u);
    EXPECT_EQ(std::stoull(blocked, nullptr, 16), 0u);
    for (int fd = 3; fd < 1024; ++fd)  // what the test program itself was given
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    EXPECT_EQ(output_of("ls /proc/$$/fd; :"), "0\n1\n2\n");
}

TEST(Command, KillsTheWholeGroupAtTheLimit) {
    const double start = static_cast<double>(sys::monotonic_now().tv_sec);
    std::string output;
    errno = 0;
    // The shell ends at once; what it left behind holds the output and catches the polite signals.
    EXPECT_FALSE(sys::run_command_for_reading(
        "(trap '' TERM HUP; echo $(exec sh -c 'echo $PPID'); while :; do sleep 9; done) & exit", output));
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_NEAR(static_cast<double>(sys::monotonic_now().tv_sec) - start, 2.5, 1.1);
    const pid_t left = static_cast<pid_t>(std::atoi(output.c_str()));
    ASSERT_GT(left, 1) << output;
    // Killed: a loaded machine may take its time over that. Whether its new parent has reaped it does not matter.
    const int end = static_cast<int>(syscall(SYS_pidfd_open, left, 0));
    EXPECT_TRUE(end >= 0 || errno == ESRCH) << errno;
    pollfd ended = {end, POLLIN, 0};
    EXPECT_TRUE(end < 0 || poll(&ended, 1, 30000) == 1) << "still runs";
    if (end >= 0) close(end);
}

}  // namespace
}  // namespace ravd

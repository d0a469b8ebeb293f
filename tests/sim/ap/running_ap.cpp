#include "tests/sim/ap/running_ap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/sim/socket_io.h"
#include "platform/system.h"

extern char** environ;

namespace ravd::testing {

void pause_ms(int ms) { sys::sleep_us(static_cast<std::uint32_t>(ms) * 1000); }

const std::string& running_ap::directory() {
    static const std::string path = [] {
        char name[] = "/tmp/ravd-ap-XXXXXX";
        if (!mkdtemp(name)) std::abort();
        setenv("RAVD_SIM_DIR", name, 1);
        static const std::string command = std::string("rm -rf '") + name + "'";
        std::atexit([] { (void)!std::system(command.c_str()); });
        return std::string(name);
    }();
    return path;
}

std::string running_ap::scenario_path(const std::string& name) {
    return std::string(RAVD_SCENARIOS) + "/" + name + ".json";
}

running_ap::running_ap(const std::string& scenario) {
    const std::string path = scenario_path(scenario);
    const std::string dir = directory();
    const char* arguments[] = {RAVD_SIM_AP, path.c_str(), "--dir", dir.c_str(), "--speed", "1000", "--quiet", nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    pid_t child = -1;
    if (posix_spawn(&child, RAVD_SIM_AP, &files, nullptr, const_cast<char* const*>(arguments), environ) != 0)
        std::abort();
    posix_spawn_file_actions_destroy(&files);
    process_ = child;
    EXPECT_TRUE(eventually([&] { return tell("show state").compare(0, 3, "ok ") == 0; })) << scenario;
}

running_ap::~running_ap() {
    if (process_ > 0) stop();
}

int running_ap::stop() {
    int status = 0;
    kill(process_, SIGTERM);
    if (waitpid(process_, &status, 0) != process_) return -1;
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string running_ap::tell(const std::string& line) const {
    const int fd = sim::connect_unix(directory() + "/control.sock");
    if (fd < 0) return "";
    const std::string text = line + "\n";
    std::string answer;
    if (sim::send_all(fd, text.data(), text.size()))
        for (char c; sim::receive_all(fd, &c, 1) && c != '\n';)
            answer += c;
    close(fd);
    return answer;
}

std::string running_ap::ask(const std::string& line) const {
    const std::string answer = tell(line);
    EXPECT_EQ(answer.compare(0, 2, "ok"), 0) << line << ": " << answer;
    return answer.size() > 3 ? answer.substr(3) : "";
}

}  // namespace ravd::testing

#include "tests/support/fake_system.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "platform/system.h"

namespace ravd::testing {
namespace {

constexpr long long start_ns = 1000LL * 1000 * 1000 * 1000;
std::atomic<long long> clock_ns{start_ns};

std::string& root_directory() {
    static std::string root;
    return root;
}

void make_parents(const std::string& path) {
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0755);
}

void remove_root() {
    if (!root_directory().empty()) {
        const std::string command = "rm -rf '" + root_directory() + "'";
        if (std::system(command.c_str()) != 0) std::abort();
        root_directory().clear();
    }
}

}  // namespace

fake_system& fake_system::get() {
    static fake_system instance;
    return instance;
}

void fake_system::reset() {
    clock_ns = start_ns;
    on_ioctl = nullptr;
    on_command = nullptr;
    sockets_fail = false;
    commands.clear();
    system_log.clear();
    remove_root();
}

void fake_system::advance_ms(long long ms) { clock_ns += ms * 1000000; }
double fake_system::now_s() const { return static_cast<double>(clock_ns.load()) / 1e9; }

std::string fake_system::root() const {
    if (root_directory().empty()) {
        char name[] = "/tmp/ravd-test-XXXXXX";
        if (!mkdtemp(name)) std::abort();
        root_directory() = name;
        static const int at_exit = std::atexit(remove_root);
        (void)at_exit;
    }
    return root_directory();
}

void fake_system::write_file(const std::string& device_path, const std::string& text) {
    const std::string path = root() + device_path;
    make_parents(path);
    if (path.back() == '/') return;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
    close(fd);
}

void fake_system::remove_file(const std::string& device_path) { unlink((root() + device_path).c_str()); }

bool fake_system::has_file(const std::string& device_path) const {
    struct stat info;
    return lstat((root() + device_path).c_str(), &info) == 0;
}

std::string fake_system::read_file(const std::string& device_path) const {
    std::string text;
    const int fd = open((root() + device_path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return text;
    char piece[4096];
    ssize_t n;
    while ((n = read(fd, piece, sizeof piece)) > 0)
        text.append(piece, static_cast<std::size_t>(n));
    close(fd);
    return text;
}

}  // namespace ravd::testing

namespace ravd::sys {

using testing::fake_system;

timespec monotonic_now() {
    const long long ns = testing::clock_ns.load();
    timespec now{};
    now.tv_sec = static_cast<time_t>(ns / 1000000000);
    now.tv_nsec = static_cast<long>(ns % 1000000000);
    return now;
}

void sleep_us(std::uint32_t us) { testing::clock_ns += static_cast<long long>(us) * 1000; }

int wait_readable(int fd, int timeout_ms) {
    pollfd entry{fd, POLLIN, 0};
    const int ready = poll(&entry, 1, 0);
    if (ready == 0) fake_system::get().advance_ms(timeout_ms);
    return ready;
}

int wireless_ioctl(int, unsigned long request, iwreq* req) {
    const auto& script = fake_system::get().on_ioctl;
    if (script) return script(request, req);
    errno = ENODEV;
    return -1;
}

int wireless_socket() {
    if (!fake_system::get().sockets_fail) return open("/dev/null", O_RDWR | O_CLOEXEC);
    errno = EMFILE;
    return -1;
}

std::string device_path(const char* path) { return fake_system::get().root() + path; }

bool run_command_for_reading(const char* command, std::string& output) {
    fake_system::get().commands.emplace_back(command);
    output.clear();
    const auto& script = fake_system::get().on_command;
    if (script) return script(command, output);
    errno = ENOENT;
    return false;
}

bool run_command_for_writing(const char* command) {
    std::string dropped;
    return run_command_for_reading(command, dropped);
}

void open_system_log(const char*) {}
void system_log(int priority, const char* text) { fake_system::get().system_log.emplace_back(priority, text); }

}  // namespace ravd::sys

// Filling the table of radios and VAPs on a simulated access point: what is asked of the configuration service and of
// the driver meanwhile, and how long it takes.
//   context_load ROUNDS      prints each bus request of one filling, and numbers as "name value"
//
// The requests of ipc_helper and of the chip back-ends come here first: the build renames their calls (CMakeLists.txt).
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "driver/board/board.h"
#include "platform/mbus.h"
#include "platform/system.h"

namespace {

std::vector<std::string> requests;
int ioctls = 0;
int commands = 0;

double now_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void forget() {
    requests.clear();
    ioctls = 0;
    commands = 0;
}

}  // namespace

int counted_mbus_msg_send(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length) {
    requests.emplace_back(static_cast<const char*>(bytes), length);
    return mbus_msg_send(bus, bytes, destination, length);
}

namespace ravd::sys {

int counted_wireless_ioctl(int sock, unsigned long request, iwreq* req) {
    ++ioctls;
    return wireless_ioctl(sock, request, req);
}

bool counted_run_command_for_reading(const char* command, std::string& output) {
    ++commands;
    return run_command_for_reading(command, output);
}

bool counted_run_command_for_writing(const char* command) {
    ++commands;
    return run_command_for_writing(command);
}

}  // namespace ravd::sys

int main(int argc, char** argv) {
    const int rounds = argc == 2 ? std::atoi(argv[1]) : 0;
    if (rounds < 1) {
        std::fputs("usage: context_load ROUNDS\n", stderr);
        return 2;
    }
    static const ravd::run_flag running{true};
    ravd::driver_realtek& driver = ravd::realtek_driver(&running);
    driver.set_hostapd_running(true);
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        driver.reset_context();
        forget();
        const double start = now_ms();
        driver.init_interface_context();
        times.push_back(now_ms() - start);
    }
    if (!driver.radio_up(0) && !driver.radio_up(1)) {
        std::fputs("context_load: no radio is up\n", stderr);
        return 1;
    }
    for (const std::string& request : requests)
        std::printf("request %s\n", request.c_str());
    std::sort(times.begin(), times.end());
    std::printf("ioctls %d\ncommands %d\nmedian_ms %.3f\nslowest_ms %.3f\n", ioctls, commands, times[times.size() / 2],
                times.back());
}

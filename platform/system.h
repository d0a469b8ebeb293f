// Kernel port: the calls whose answer differs between a device, a simulation and a test.
//
// One implementation is chosen when linking: platform/linux forwards to the kernel and adds nothing,
// platform/sim talks to a simulated access point, unit tests link a fake with a virtual clock.
// All calls may be made from any thread.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

struct iwreq;  // <linux/wireless.h>

namespace ravd::sys {

// CLOCK_MONOTONIC.
timespec monotonic_now();

// Suspends the calling thread for `us` microseconds.
void sleep_us(std::uint32_t us);

// Waits until `fd` is readable, at most `timeout_ms` (0: only looks). 1 readable, 0 time is over, -1 error.
int wait_readable(int fd, int timeout_ms);

// A wireless ioctl on the datagram socket `sock`. 0 or more on success; -1 with errno set.
// `request` is the private request number; `req` is read and, where the driver answers, written.
int wireless_ioctl(int sock, unsigned long request, iwreq* req);

// A datagram socket for wireless_ioctl (AF_INET, SOCK_DGRAM, protocol 0). The caller closes it. -1 with errno set.
int wireless_socket();

// Where an absolute path of the device ("/proc/...", "/tmp/...", "/var/run/...") lies on this system.
std::string device_path(const char* path);

// Limits of both command calls: after 2 s the command's whole process group is killed and reaped.
constexpr int command_limit_ms = 2000;
constexpr std::size_t command_output_limit = 64 * 1024;

// Runs `command` by the shell and collects its standard output, at most command_output_limit bytes (what
// comes beyond is read and dropped). False, with errno set, when it cannot be started or had to be killed; what
// it wrote before is in `output` all the same. The exit status is not looked at.
bool run_command_for_reading(const char* command, std::string& output);

// Runs `command` by the shell with an empty standard input; its output is dropped. False, with errno set, as above.
bool run_command_for_writing(const char* command);

// The system log, opened once by start-up. `text` is one line without a format.
void open_system_log(const char* ident);
void system_log(int priority, const char* text);

}  // namespace ravd::sys

// The calls in which a device differs from a simulated one: its driver, its files, its commands.
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "platform/linux/command.h"
#include "platform/system.h"

namespace ravd::sys {

int wireless_ioctl(int sock, unsigned long request, iwreq* req) { return ioctl(sock, request, req); }

int wireless_socket() { return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

std::string device_path(const char* path) { return path; }

bool run_command_for_reading(const char* command, std::string& output) { return run_shell(command, &output); }
bool run_command_for_writing(const char* command) { return run_shell(command, nullptr); }

}  // namespace ravd::sys

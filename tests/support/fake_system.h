// Kernel port for unit tests: a virtual clock, device files below a directory of the test, scripted ioctls and
// commands.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

struct iwreq;

namespace ravd::testing {

class fake_system {
  public:
    // The one instance behind the kernel port.
    static fake_system& get();

    // Forgets everything: the clock at 1000 s, an empty device directory, no scripts.
    void reset();

    // Virtual clock. Sleeps and waits without an event advance it.
    void advance_ms(long long ms);
    double now_s() const;

    // Device files. A name ending in "/" makes a directory.
    void write_file(const std::string& device_path, const std::string& text = "");
    void remove_file(const std::string& device_path);
    bool has_file(const std::string& device_path) const;
    std::string read_file(const std::string& device_path) const;
    std::string root() const;

    // Answers wireless ioctls; without a script they fail with ENODEV. Result as of sys::wireless_ioctl.
    std::function<int(unsigned long, iwreq*)> on_ioctl;
    // Answers commands for reading and writing; false means it could not be started or was killed.
    std::function<bool(const std::string&, std::string&)> on_command;
    // When set, sockets for ioctls cannot be opened.
    bool sockets_fail = false;

    std::vector<std::string> commands;                    // every command started
    std::vector<std::pair<int, std::string>> system_log;  // priority, text
};

}  // namespace ravd::testing

// How a device's programs tell the agent that something happened: files under /tmp and hostapd's pid file.
#pragma once

#include <string>

namespace ravd::hostd {

// Raises "hostapd_started" or "config_updated": the file of that name first, then the one that the agent looks for.
// Never through a link, which anybody may leave under /tmp. False, logged, when it could not be made.
bool raise_notice(const char* name);

// hostapd's pid file, by which the agent knows that it runs. hostapd makes it when it is told to go into the
// background, and removes it at an orderly end: here the rest is done.
class pid_file {
  public:
    pid_file();
    // Makes the file where hostapd, the process `pid` (0: none that answers), runs without one, and removes the file of
    // a process that is gone.
    void follow(int pid);

  private:
    std::string path_;
};

// The arguments of a process, each followed by a zero byte; empty when they cannot be read.
std::string command_line_of(int pid);

}  // namespace ravd::hostd

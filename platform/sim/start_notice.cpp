// What the start scripts of a device do for the daemon, for ravd-sim, which people start by hand: the daemon takes up
// the radios when it is told that hostapd has started, and where hostapd runs already (the daemon was restarted) nobody
// would tell it again.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/unique_fd.h"

namespace ravd::sim {
namespace {

// Before main, as a script would. Without a directory the first call that needs one ends the program.
const bool notice_given = [] {
    const char* directory = std::getenv("RAVD_SIM_DIR");
    if (!directory || access((std::string(directory) + "/var/run/hostapd.pid").c_str(), F_OK) != 0) return false;
    for (const char* name : {"/tmp/.corvane_notify_hostapd_started", "/tmp/.corvane_notify"}) {
        const std::string path = std::string(directory) + name;
        unlink(path.c_str());
        const unique_fd made(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        if (!made) return false;
    }
    return true;
}();

}  // namespace
}  // namespace ravd::sim

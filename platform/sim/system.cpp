// Kernel port of the simulation: device paths below the simulation's directory, commands with the stand-ins for the
// driver's tools in front of the path.
#include "platform/system.h"

#include <cstdio>
#include <cstdlib>

#include "platform/linux/command.h"

namespace ravd::sys {
namespace {

// Directory of the simulated access point. Without one nothing can be answered truthfully, so the program ends.
const std::string& simulation_directory() {
    static const std::string directory = [] {
        const char* value = std::getenv("RAVD_SIM_DIR");
        if (!value || !*value) {
            std::fprintf(stderr, "RAVD_SIM_DIR is not set: it names the directory of the simulated access point\n");
            std::fflush(nullptr);
            std::_Exit(255);
        }
        return std::string(value);
    }();
    return directory;
}

// The shell finds the stand-ins first; they learn from RAVD_SIM_DIR whom to ask.
std::string with_stand_ins(const char* command) {
    simulation_directory();
    return std::string("PATH=\"$RAVD_SIM_DIR/bin:$PATH\"; export PATH RAVD_SIM_DIR; ") + command;
}

}  // namespace

std::string device_path(const char* path) { return simulation_directory() + path; }

bool run_command_for_reading(const char* command, std::string& output) {
    return run_shell(with_stand_ins(command).c_str(), &output);
}

bool run_command_for_writing(const char* command) { return run_shell(with_stand_ins(command).c_str(), nullptr); }

}  // namespace ravd::sys

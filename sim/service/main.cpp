// ravd-sim-service: a lab version of the radio service.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>

#include "sim/common/tell.h"
#include "sim/service/lab.h"
#include "sim/service/options.h"
#ifdef RAVD_CONSOLE
#include "sim/console/live_console.h"
#endif

namespace {

// Written by the signal handler, read by the loop.
int signal_pipe[2] = {-1, -1};

void stop(int) {
    const int saved = errno;
    (void)!write(signal_pipe[1], "", 1);
    errno = saved;
}

}  // namespace

int main(int argc, char** argv) {
    ravd::sim::service_options options;
    std::string error;
    const ravd::options_result result = ravd::sim::parse_options(argc, argv, options, error);
    if (const auto status = ravd::end_early(result, "ravd-sim-service", ravd::sim::usage_text(), error)) return *status;
    if (!options.tell.empty()) return ravd::sim::tell("ravd-sim-service", options.control, options.tell);
    if (pipe2(signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return 2;
    struct sigaction action = {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    ravd::sim::lab service(options);
    if (!service.start(error)) {
        std::fprintf(stderr, "ravd-sim-service: %s\n", error.c_str());
        return 2;
    }
#ifdef RAVD_CONSOLE
    std::unique_ptr<ravd::sim::live_console> console;
    if (options.web.enabled) {
        console = std::make_unique<ravd::sim::live_console>(service);
        if (!console->start(options.web, error)) {
            std::fprintf(stderr, "ravd-sim-service: %s\n", error.c_str());
            return 2;
        }
    }
#else
    if (options.web.enabled) {
        std::fprintf(stderr, "ravd-sim-service: built without the console (RAVD_CONSOLE)\n");
        return 2;
    }
#endif
    service.stop_on(signal_pipe[0]);
    return service.run();
}

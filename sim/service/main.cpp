// ravd-sim-service: a lab version of the radio service.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

#include "sim/common/tell.h"
#include "sim/service/lab.h"
#include "sim/service/options.h"
#ifdef RAVD_CONSOLE
#include "sim/console/live_console.h"
#include "sim/console/replay_console.h"
#endif

namespace {

// Written by the signal handler, read by the loop.
int signal_pipe[2] = {-1, -1};

void stop(int) {
    const int saved = errno;
    (void)!write(signal_pipe[1], "", 1);
    errno = saved;
}

int failed(const std::string& error) {
    std::fprintf(stderr, "ravd-sim-service: %s\n", error.c_str());
    return 2;
}

#ifdef RAVD_CONSOLE
int replay(const ravd::sim::web_options& options) {
    std::string error;
    ravd::sim::event_loop loop;
    ravd::sim::replay_console console(loop);
    if (!console.start(options, error)) return failed(error);
    loop.watch(signal_pipe[0], POLLIN, [&](short) { loop.stop(); });
    loop.run();
    return 0;
}
#endif

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
#ifdef RAVD_CONSOLE
    if (!options.web.replay.empty()) return replay(options.web);
    ravd::sim::lab service(options);
    std::unique_ptr<ravd::sim::live_console> console;
    if (options.web.enabled) console = std::make_unique<ravd::sim::live_console>(service);
    if (!service.start(error) || (console && !console->start(options.web, error))) return failed(error);
#else
    if (options.web.enabled) return failed("--web: built without the console (RAVD_CONSOLE)");
    ravd::sim::lab service(options);
    if (!service.start(error)) return failed(error);
#endif
    service.stop_on(signal_pipe[0]);
    return service.run();
}

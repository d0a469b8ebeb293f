// ravd-sim-service: a lab version of the radio service.
#include <csignal>
#include <cstdio>

#include "sim/service/lab.h"
#include "sim/service/options.h"

namespace {

volatile std::sig_atomic_t stopped = 0;

void stop(int) { stopped = 1; }

}  // namespace

int main(int argc, char** argv) {
    ravd::lab::options options;
    std::string error;
    switch (ravd::lab::parse_options(argc, argv, options, error)) {
        case ravd::lab::options_result::help:
            std::fputs(ravd::lab::usage_text(), stdout);
            return 0;
        case ravd::lab::options_result::wrong:
            std::fprintf(stderr, "ravd-sim-service: %s; try --help\n", error.c_str());
            return 2;
        case ravd::lab::options_result::run:
            break;
    }
    struct sigaction action = {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    ravd::lab::lab service(options);
    if (!service.start(error)) {
        std::fprintf(stderr, "ravd-sim-service: %s\n", error.c_str());
        return 2;
    }
    return service.run(stopped);
}

// ravd-bus: a bus endpoint for scripts and for a look at the bus by hand.
#include <signal.h>

#include <cstdio>

#include "tools/bus/attach.h"
#include "tools/bus/options.h"
#include "tools/bus/output.h"

namespace {

using namespace ravd;

constexpr int first_free_module = 1000;
constexpr int last_free_module = 1099;

// An endpoint under the chosen number, or under a free one. Null after the reason was printed.
std::unique_ptr<bus_endpoint> open_endpoint(const options& chosen) {
    std::string error;
    const bool any = chosen.module < 0;
    const int last = any ? last_free_module : chosen.module;
    for (int module = any ? first_free_module : chosen.module; module <= last; ++module) {
        auto bus = bus_endpoint::open(chosen.directory, module, &error);
        if (!bus) continue;
        if (bus->start()) return bus;
        error = "cannot listen in " + chosen.directory;
    }
    complain(error);
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    options chosen;
    std::string error;
    const options_result result = parse_options(argc, argv, chosen, error);
    if (const auto status = end_early(result, "ravd-bus", usage_text(), error)) return *status;
    (void)::signal(SIGPIPE, SIG_IGN);
    if (chosen.what == command::list) return list_modules(chosen);
    if (chosen.what == command::monitor) return monitor(chosen);
    const auto bus = open_endpoint(chosen);
    if (!bus) return 1;
    switch (chosen.what) {
        case command::send:
            return send_once(*bus, chosen);
        case command::call:
            return call_once(*bus, chosen);
        case command::get:
            return get_value(*bus, chosen);
        default:
            return attach(*bus, chosen);
    }
}

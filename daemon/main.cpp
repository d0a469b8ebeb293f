// Process entry of the daemon.

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "core/heap.h"
#include "core/logger.h"
#include "core/version.h"
#include "daemon/agent_config.h"
#include "daemon/config_judgement.h"
#include "daemon/run_flags.h"
#include "daemon/run_modes.h"
#include "daemon/stop_signal.h"
#include "platform/factory.h"
#include "platform/log_target.h"
#include "platform/quarn_log.h"
#include "platform/system.h"

using namespace ravd;

namespace {

constexpr char ident[] = "RAVD";

// Before main, so that whatever is written from there on has the daemon's name and is seen at once.
const bool output_prepared = [] {
    quarn_log_set_daemonname("ravd");
    std::setbuf(stdout, nullptr);
    return true;
}();

// Where the starter closed one of the three, the next file or socket would get its number, and the log's lines.
void fill_standard_descriptors() {
    int fd = -1;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) close(fd);
}

// The random delays before a connection must differ between access points that boot in the same second.
unsigned random_seed() {
    factory_data factory{};
    factory_data_load(&factory);
    unsigned seed = static_cast<unsigned>(std::time(nullptr));
    const auto mix = [&seed](unsigned value) { seed = (seed ^ value) * 16777619u; };
    mix(static_cast<unsigned>(getpid()));
    for (const char byte : factory.mac)
        mix(static_cast<unsigned char>(byte));
    return seed;
}

// A line that does not do what its writer wanted would show only in what does not happen.
void warn_of_config(const agent_config& config) {
    if (config.file.empty() || !log_enabled(process_log, log_warning_bit)) return;
    const config_judgement judgement = judge_config_file(config.file.c_str());
    for (const config_finding& found : judgement.findings)
        log_warning(process_log, "%s line %d: %s\n", config.file.c_str(), found.line, found.text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    fill_standard_descriptors();
    keep_heap_small();
    quarn_log_init_rotate(ident);
    std::srand(random_seed());
    prctl(PR_SET_NAME, "ravd:main", 0, 0, 0);
    sys::open_system_log(ident);

    static agent_config config;
    read_agent_config(argc, argv, config);
    apply_log_mask(config);
    if (!process_log.file.empty() && !log_target_set_file(process_log.file.c_str()))
        log_error(process_log, "Can't open log file %s\n", process_log.file.c_str());
    log_info(process_log, "ravd %s\n", version());
    warn_of_config(config);
    set_run_flags(config);
    install_stop_handler();

    if (roam_bus_running) return run_roaming_mode(config);
    if (agent_running) return run_agent_mode(config);
    return 0;
}

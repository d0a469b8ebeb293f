#include "daemon/run_modes.h"

#include <unistd.h>

#include <ctime>
#include <initializer_list>
#include <memory>
#include <string>

#include "core/safe_queue.h"
#include "core/version.h"
#include "daemon/agent_config.h"
#include "daemon/control_server.h"
#include "daemon/run_flags.h"
#include "daemon/worker_group.h"
#include "driver/board/board.h"
#include "ipc/ipc_worker.h"
#include "link/websock_worker.h"
#include "message/status_page.h"
#include "platform/system.h"
#include "rrm/rrm_worker.h"

namespace ravd {
namespace {

constexpr char control_path[] = "/run/ravd/control.sock";

// Module numbers of the IPC worker on the bus.
constexpr std::int32_t roaming_bus_module = 2;
constexpr std::int32_t agent_bus_module = 31;

std::unique_ptr<websock_worker> make_link(const agent_config& config, int number, safe_queue& to_service,
                                          safe_queue& from_service, const run_flag& running, int mode) {
    const link_config& link = config.links[number];
    return std::make_unique<websock_worker>(to_service, from_service, link.host, link.path,
                                            static_cast<std::uint32_t>(link.port), &running,
                                            link.initial_connection_delay, link.max_connection_delay, mode, config.tls);
}

std::unique_ptr<ipc_worker> make_bus(const run_flag& running, std::int32_t module_id, safe_queue& out_queue,
                                     safe_queue& in_queue) {
    return std::make_unique<ipc_worker>(&running, module_id, out_queue, in_queue);
}

// What notified the agent before this start no longer counts.
void remove_marker_files() {
    for (const char* path :
         {"/tmp/.corvane_notify_config_updated", "/tmp/.corvane_notify_timezone_changed", "/tmp/.corvane-connected"})
        unlink(sys::device_path(path).c_str());
}

// What of the status stays as it is.
std::string facts(const agent_config& config, const char* mode) {
    char started[32] = "";
    const std::time_t now = std::time(nullptr);
    tm broken_down{};
    if (gmtime_r(&now, &broken_down)) std::strftime(started, sizeof started, "%Y-%m-%dT%H:%M:%SZ", &broken_down);
    status_page page;
    page.text("version", version());
    page.text("mode", mode);
    page.text("config", config.file);
    page.text("started", started);
    return page.take();
}

// Starts the workers in this order and returns when all have ended; the control socket is served meanwhile.
void run(const agent_config& config, const char* mode, websock_worker& link,
         std::initializer_list<abstract_worker*> workers) {
    control_server control(facts(config, mode));
    control.listen_at(sys::device_path(control_path));
    control.on_reconnect([&link] { link.reconnect(); });
    worker_group threads(control);
    for (abstract_worker* worker : workers)
        threads.start(*worker);
    threads.wait();
}

}  // namespace

int run_roaming_mode(const agent_config& config) {
    safe_queue to_service;    // ipc_worker -> websock_worker
    safe_queue from_service;  // websock_worker -> ipc_worker

    auto link = make_link(config, roam_link, to_service, from_service, roam_link_running, roaming_mode);
    auto bus = make_bus(roam_bus_running, roaming_bus_module, to_service, from_service);

    run(config, "roaming", *link, {bus.get(), link.get()});

    bus->join();
    bus.reset();
    link->join();
    link.reset();
    return 0;
}

int run_agent_mode(const agent_config& config) {
    safe_queue to_service;    // rrm_worker -> websock_worker
    safe_queue from_service;  // websock_worker -> rrm_worker
    safe_queue
        to_bus;  // rrm_worker -> ipc_worker: nothing is sent; what the agent asks of its neighbours it asks itself
    safe_queue from_bus;  // ipc_worker -> rrm_worker

    driver_realtek& driver = realtek_driver(&agent_running);
    auto link = make_link(config, corvane_link, to_service, from_service, agent_link_running, corvane_mode);
    auto rrm = std::make_unique<rrm_worker>(&agent_running, driver, config.links[corvane_link].location, from_service,
                                            to_service, from_bus, to_bus);
    remove_marker_files();
    auto bus = make_bus(agent_running, agent_bus_module, from_bus, to_bus);

    run(config, "agent", *link, {bus.get(), link.get(), rrm.get()});

    rrm->join();
    link->join();
    bus->join();
    bus.reset();
    rrm.reset();
    link.reset();
    return 0;
}

}  // namespace ravd

#include "sim/ap/simulator.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/monotonic.h"
#include "platform/unique_fd.h"
#include "sim/ap/air_directory.h"
#include "sim/ap/command_server.h"
#include "sim/ap/control.h"
#include "sim/ap/neighbourhood.h"
#include "sim/ap/network_services.h"
#include "sim/ap/radio_server.h"
#include "sim/common/line_server.h"

namespace ravd::sim {
namespace {

constexpr std::size_t line_limit = 64 * 1024;
constexpr std::int64_t follow_ms = 250;  // how late a change may reach the air

// Written by the signal handler, read by the loop.
int signal_pipe[2] = {-1, -1};

void on_signal(int) {
    const int kept = errno;
    const ssize_t written = write(signal_pipe[1], "", 1);
    (void)written;
    errno = kept;
}

}  // namespace

class simulator::body {
  public:
    body(const scenario& from, const simulator_options& options);
    bool open(std::string& reason);
    void run() { loop_.run(); }

  private:
    bool take_directory(std::string& reason);
    bool link_stand_ins(std::string& reason);
    void watch_signals();
    bool join_air(std::string& reason);
    void follow_air();
    void config_changed();
    void told(const client_event& event);
    void told_to_roam(const mac_octets& mac);

    simulator_options options_;
    unique_fd lock_;

    // What is used stands before what uses it.
    event_log log_;
    event_loop loop_;
    access_point ap_;
    fault_list faults_;
    station_book stations_;
    neighbourhood near_;
    air_directory air_;
    device_files files_;
    hostapd hostapd_;
    wireless_driver driver_;
    configuration_service configuration_;
    network_daemon porterd_;
    control control_;
    bus_service configuration_bus_;
    bus_service porterd_bus_;
    bus_service peer_bus_;
    radio_server radio_server_;
    command_server command_server_;
    line_server control_lines_;
};

simulator::body::body(const scenario& from, const simulator_options& options)
    : options_(options),
      log_(options.quiet),
      ap_(from),
      stations_(ap_),
      near_(ap_, stations_, log_),
      air_(loop_, log_, [this] { near_.hear(air_.others(), monotonic_ms()); }),
      files_(loop_, log_, ap_, options.directory),
      hostapd_(loop_, log_, ap_, files_, stations_),
      driver_(ap_, stations_, faults_, log_),
      configuration_(ap_, log_),
      porterd_(ap_, log_, [this] { config_changed(); }),
      control_(
          control::parts{loop_, ap_, files_, stations_, hostapd_, faults_, near_},
          [this] {
              configuration_bus_.follow_faults();
              porterd_bus_.follow_faults();
          },
          [this] { config_changed(); }),
      configuration_bus_(
          loop_, log_, faults_, "config", module_configuration, options.directory + "/run/ravd-bus",
          [this](const std::string& command, json_object* request) { return configuration_.answer(command, request); }),
      porterd_bus_(
          loop_, log_, faults_, "porterd", module_porterd, options.directory + "/run/ravd-bus",
          [this](const std::string& command, json_object* request) { return porterd_.answer(command, request); }),
      peer_bus_(loop_, log_, faults_, "peer", module_peer, options.directory + "/run/ravd-bus",
                [this](const std::string& command, json_object*) {
                    log_.line("peer", "the agent sent \"%s\"", command.c_str());
                    return std::string();
                }),
      radio_server_(loop_, driver_),
      command_server_(loop_, ap_, hostapd_, faults_, log_),
      control_lines_(
          loop_, line_limit, "error the line is too long\n",
          [this](line_server::source from, const std::string& line) {
              control_lines_.reply(from, control_.run(line) + "\n");
              return line_server::next::line;
          },
          [this](line_server::source from) {
              if (from == line_server::standard_input && options_.exit_on_eof) loop_.stop();
          }) {
    stations_.set_listener([this](const client_event& event) { told(event); });
    driver_.set_roam_listener([this](const mac_octets& mac) { told_to_roam(mac); });
}

bool simulator::body::take_directory(std::string& reason) {
    if (mkdir(options_.directory.c_str(), 0755) != 0 && errno != EEXIST) {
        reason = options_.directory + ": " + std::strerror(errno);
        return false;
    }
    const std::string path = options_.directory + "/lock";
    lock_.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (lock_ && flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) return true;
    reason = errno == EWOULDBLOCK ? options_.directory + ": a simulated access point runs there already"
                                  : path + ": " + std::strerror(errno);
    return false;
}

// The stand-in program lies beside this one.
bool simulator::body::link_stand_ins(std::string& reason) {
    char own[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
    std::string program(own, length > 0 ? static_cast<std::size_t>(length) : 0);
    program.erase(program.rfind('/') + 1);
    program += "ravd-sim-command";
    if (access(program.c_str(), X_OK) != 0) {
        reason = program + ": missing; it stands for iwpriv and wpa_cli";
        return false;
    }
    for (const char* name : {"/bin/iwpriv", "/bin/wpa_cli"}) {
        const std::string path = options_.directory + name;
        unlink(path.c_str());
        if (symlink(program.c_str(), path.c_str()) == 0) continue;
        reason = path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

void simulator::body::watch_signals() {
    if (pipe2(signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
    signal(SIGTERM, on_signal);
    signal(SIGINT, on_signal);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGTTIN, SIG_IGN);  // reading the terminal from the background then fails instead of stopping us
    loop_.watch(signal_pipe[0], POLLIN, [this](short) { loop_.stop(); });
}

bool simulator::body::open(std::string& reason) {
    if (!take_directory(reason) || !files_.create(reason) || !link_stand_ins(reason)) return false;
    for (bus_service* service : {&configuration_bus_, &porterd_bus_, &peer_bus_})
        if (!service->open(reason)) return false;
    if (!radio_server_.open(options_.directory, reason) || !command_server_.open(options_.directory, reason) ||
        !control_lines_.listen_on(options_.directory + "/control.sock", reason))
        return false;
    watch_signals();
    loop_.look_before_sleep();  // a driver's calls take no change of process
    control_lines_.read_standard_input("> ", [this](const std::string& before) { return control_.what_fits(before); });
    if (!options_.air.empty() && !join_air(reason)) return false;
    if (options_.hostapd_at_start) hostapd_.start();
    stations_.settle(false);  // they were there before us
    log_.line("sim", "\"%s\" is ready in %s", ap_.start.name.c_str(), options_.directory.c_str());
    return true;
}

bool simulator::body::join_air(std::string& reason) {
    if (!ap_.start.where) {
        reason = "\"" + ap_.start.name + "\" has no position in the air";
        return false;
    }
    near_.begin([this] { air_.publish(near_.present()); }, monotonic_ms());
    if (!air_.open(options_.air, ap_.start.base_mac, reason)) return false;
    loop_.soon([this] { follow_air(); });
    return true;
}

void simulator::body::follow_air() {
    near_.follow(monotonic_ms());
    loop_.after(follow_ms, [this] { follow_air(); });
}

void simulator::body::config_changed() {
    hostapd_.follow_config();
    files_.notify("config_updated");
}

void simulator::body::told(const client_event& event) {
    const bool heard = peer_bus_.send(module_agent, client_event_text(event));
    log_.line("station", "%s: %s at %s%s%s%s", event.mac.c_str(), event.type.c_str(), event.dev.c_str(),
              event.target_mac.empty() ? "" : " to ", event.target_mac.c_str(), heard ? "" : " (no agent to tell)");
}

void simulator::body::told_to_roam(const mac_octets& mac) {
    loop_.after(ap_.start.steer_delay_ms, [this, mac] {
        const auto at = stations_.find(mac);
        if (!at.one || !at.one->associated) return;
        if (near_.ask(mac, stations_.roam_targets(*at.vap), monotonic_ms())) return;
        const mac_octets target = stations_.roam_target(*at.vap);
        if (target == mac_octets{})
            stations_.leave(mac, "recv-disassoc");
        else
            stations_.roam(mac, target);
    });
}

simulator::simulator(const scenario& from, const simulator_options& options)
    : body_(std::make_unique<body>(from, options)) {}
simulator::~simulator() = default;
bool simulator::open(std::string& reason) { return body_->open(reason); }
void simulator::run() { body_->run(); }

}  // namespace ravd::sim

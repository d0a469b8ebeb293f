// Routing of every message that reaches the agent.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/logger.h"
#include "message/json.h"
#include "rrm/rrm_worker.h"

namespace ravd {
namespace {

// Parsing takes a while from here on, on a small device.
constexpr std::uint32_t slow_message_bytes = 64 * 1024;
constexpr long long oldest_version = 2 * 65536 + 4;
constexpr std::int32_t code_busy = 503;  // the service asks to come back later

// Reads one number as "%d" does, huge ones held at the 32-bit limits. False when there is none.
bool read_number(const char*& text, long long& value) {
    char* end = nullptr;
    value = std::clamp<long long>(std::strtoll(text, &end, 10), INT32_MIN, INT32_MAX);
    const bool found = end != text;
    text = end;
    return found;
}

// Whether a "major.minor" text names a protocol that this agent speaks.
bool is_supported_version(const char* text) {
    long long major = 0;
    long long minor = 0;
    if (!text || !read_number(text, major) || *text != '.' || !read_number(++text, minor)) return false;
    return major * 65536 + minor >= oldest_version;
}

void on_subscribe_response(agent_parts& agent, const json_reader& message) {
    const char* status = message.get_string("status");
    if (!status) return;
    const std::int32_t code = message.get_int("code");
    if (std::strcmp(status, "success") == 0) {
        agent.life.handle(life_event::accepted, &message);
    } else if (code == code_busy) {
        agent.life.handle(life_event::busy);
    } else {
        log_info(process_log,
                 "The radio service refuses the subscription (%.64s, code %d) until the link comes up anew\n", status,
                 code);
        agent.life.handle(life_event::refused);
    }
}

// One row per command of the service, in the order of comparison.
struct command_row {
    const char* cmd;
    bool needs_hostapd;
    void (*handler)(agent_parts& agent, const json_reader& message);  // null: not supported
    const char* refusal;                                              // logged when not acted on
};

constexpr command_row commands[] = {
    {"rrm-info", true, [](agent_parts& agent, const json_reader& message) { agent.settings.apply_config(message); },
     "Ignoring rrm-info because hostapd is not running\n"},
    {"rrm-update", true,
     [](agent_parts& agent, const json_reader& message) { agent.scans.process_rrm_update(message); },
     "Ignoring rrm-update because hostapd is not running\n"},
    {"rrm-blacklist", false, nullptr, "Ignoring rrm-blacklist because load balancer is not yet supported\n"},
    {"rrm-request-mode", true, [](agent_parts& agent, const json_reader&) { agent.report.answer_request(); },
     "Ignoring rrm-request-mode because hostapd is not running\n"},
    {"subscribe-response", false, on_subscribe_response, nullptr},
    {"rrm-probe-request", false, nullptr, "Ignoring rrm-probe-request because load balancer is not yet supported\n"},
    {"rrm-disassoc-request", false, nullptr,
     "Ignoring rrm-disassoc-request because load balancer is not yet supported\n"},
    {"rrm-client-assoc-ack", false, nullptr,
     "Ignoring rrm-client-assoc-ack because load balancer is not yet supported\n"},
    {"fbt-info", false,
     [](agent_parts& agent, const json_reader& message) { agent.transition.process_fbt_info(message); }, nullptr},
    {"rrm-sta-overload", false,
     [](agent_parts& agent, const json_reader& message) { agent.balancing.on_sta_overload(message); }, nullptr},
};

}  // namespace

bool rrm_worker::on_service_message(const std::shared_ptr<buffer_info_t>& message) {
    if (!message || message->size == 0) return false;
    const json_reader root(message->data);
    parts_.context.memory.used();
    if (message->size > slow_message_bytes) {
        parts_.context.memory.large_freed();
        progress().tick();
    }
    if (!root.valid()) return false;
    const char* service = root.get_string("service");
    if (!service) {
        const char* command = root.get_string("command");
        if (command && std::strcmp(command, "wifi-client-trap") == 0) parts_.clients.on_client_event(root);
        return false;
    }
    const bool from_service = std::strcmp(service, "rrm") == 0;
    if (from_service && driver_.is_scanning()) return true;
    const char* cmd = root.get_string("cmd");
    if (!cmd) return false;
    if (from_service) {
        const char* version = root.get_string("version");
        if (is_supported_version(version)) {
            run_command(root, cmd);
        } else {
            if (!debug_enabled())
                log_warning(process_log, "%.64s has version %.16s, 2.4 is needed: the service is left for good\n", cmd,
                            version ? version : "none");
            parts_.life.handle(life_event::old_version);
        }
    } else if (std::strcmp(service, "internal-ipc") == 0) {
        if (message->internal)
            route_link_event(cmd);
        else
            log_warning(process_log, "%s->A message from outside that claims to be the link's is dropped\n", name());
    }
    return false;
}

void rrm_worker::route_link_event(const char* cmd) {
    if (std::strcmp(cmd, "connected") == 0) {
        parts_.life.handle(life_event::link_up);
    } else if (std::strcmp(cmd, "disconnected") == 0) {
        // What this link still had to say is void. Kept, a deferred scan order would start without a link, the next
        // drop would cancel its timer, and with the scan flag set for good no message would be handled any more.
        const std::size_t dropped = pending_.remove_if([](const auto&) { return true; });
        if (dropped)
            log_warning(process_log, "%zu orders that waited for the end of a scan end with their link\n", dropped);
        parts_.life.handle(life_event::link_down);
    }
}

void rrm_worker::run_command(const json_reader& message, const char* cmd) {
    for (const command_row& row : commands) {
        if (std::strcmp(cmd, row.cmd) != 0) continue;
        if (row.handler && (!row.needs_hostapd || driver_.is_hostapd_running()))
            row.handler(parts_, message);
        else if (debug_enabled())
            log_debug(process_log, "%s", row.refusal);
        else
            log_warning(process_log, "%s is not carried out: %s\n", cmd,
                        row.handler ? "hostapd does not run" : "load balancing by it is not supported");
        return;
    }
}

}  // namespace ravd

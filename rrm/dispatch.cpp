// Routing of every message that reaches the agent.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/logger.h"
#include "rrm/json.h"
#include "rrm/rrm_worker.h"

namespace ravd {
namespace {

// Parsing takes a while from here on, on a small device.
constexpr std::uint32_t slow_message_bytes = 64 * 1024;
constexpr long long oldest_version = 2 * 65536 + 4;

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

}  // namespace

// One row per command of the service, in the order of comparison.
struct rrm_worker::command_row {
    const char* cmd;
    bool needs_hostapd;
    void (rrm_worker::*handler)(const json_reader&);  // null: not supported
    const char* refusal;                              // logged when not acted on

    static const command_row table[];
};

constexpr rrm_worker::command_row rrm_worker::command_row::table[] = {
    {"rrm-info", true, &rrm_worker::apply_config, "Ignoring rrm-info because hostapd is not running\n"},
    {"rrm-update", true, &rrm_worker::process_rrm_update, "Ignoring rrm-update because hostapd is not running\n"},
    {"rrm-blacklist", false, nullptr, "Ignoring rrm-blacklist because load balancer is not yet supported\n"},
    {"rrm-request-mode", true, &rrm_worker::send_mode_response,
     "Ignoring rrm-request-mode because hostapd is not running\n"},
    {"subscribe-response", false, &rrm_worker::on_subscribe_response, nullptr},
    {"rrm-probe-request", false, nullptr, "Ignoring rrm-probe-request because load balancer is not yet supported\n"},
    {"rrm-disassoc-request", false, nullptr,
     "Ignoring rrm-disassoc-request because load balancer is not yet supported\n"},
    {"rrm-client-assoc-ack", false, nullptr,
     "Ignoring rrm-client-assoc-ack because load balancer is not yet supported\n"},
    {"fbt-info", false, &rrm_worker::process_fbt_info, nullptr},
    {"rrm-sta-overload", false, &rrm_worker::on_sta_overload, nullptr},
};

void rrm_worker::consume(safe_queue& queue) {
    queue.pop([this](const std::shared_ptr<buffer_info_t>& message) {
        if (!on_service_message(message)) return;
        log_debug(process_log, "Pending message for delayed processing\n");
        pending_.push(message);
    });
}

bool rrm_worker::on_service_message(const std::shared_ptr<buffer_info_t>& message) {
    if (!message || message->size == 0) return false;
    const json_reader root(message->data);
    if (message->size > slow_message_bytes) progress().tick();
    if (!root.valid()) return false;
    const char* service = root.get_string("service");
    if (!service) {
        const char* command = root.get_string("command");
        if (command && std::strcmp(command, "wifi-client-trap") == 0) on_client_event(root);
        return false;
    }
    const bool from_service = std::strcmp(service, "rrm") == 0;
    if (from_service && driver_.is_scanning()) return true;
    const char* cmd = root.get_string("cmd");
    if (!cmd) return false;
    if (from_service) {
        if (is_supported_version(root.get_string("version")))
            run_command(root, cmd);
        else
            send_unsubscribe();
    } else if (std::strcmp(service, "internal-ipc") == 0) {
        if (std::strcmp(cmd, "connected") == 0)
            on_link_connected();
        else if (std::strcmp(cmd, "disconnected") == 0)
            on_link_disconnected();
    }
    return false;
}

void rrm_worker::run_command(const json_reader& message, const char* cmd) {
    for (const command_row& row : command_row::table) {
        if (std::strcmp(cmd, row.cmd) != 0) continue;
        if (row.handler && (!row.needs_hostapd || driver_.is_hostapd_running()))
            (this->*row.handler)(message);
        else
            log_debug(process_log, "%s", row.refusal);
        return;
    }
}

void rrm_worker::send_radio_report(const char* cmd) {
    json_writer message("rrm", cmd, driver_.get_base_mac());
    message.add_string("domain", domain_.c_str());
    add_radios(message);
    send_json(to_service_, message);
}

void rrm_worker::send_mode_response(const json_reader&) { send_radio_report("rrm-mode-response"); }

}  // namespace ravd

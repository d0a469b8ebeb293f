#include "rrm/subscription.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "core/logger.h"
#include "platform/system.h"
#include "platform/unique_fd.h"
#include "rrm/kept_text.h"

namespace ravd {
namespace {

constexpr std::int32_t first_backoff_s = 30;
constexpr std::int32_t longest_backoff_s = 120;

// Leaves an empty file at `path`. Neither follows a link nor truncates what one points to; a directory in its place
// stays and the marker is missing.
void create_marker(const std::string& path) {
    unlink(path.c_str());
    const unique_fd marker(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
}

void add_fixed_text(json_writer& object, const char* key, const char (&field)[32]) {
    char text[sizeof field + 1];
    std::memcpy(text, field, sizeof field);
    text[sizeof field] = '\0';
    object.add_string(key, text);
}

}  // namespace

subscription::subscription(agent_context& context, configuration& settings, radio_report& report)
    : context_(context),
      settings_(settings),
      report_(report),
      subscribe_backoff_(first_backoff_s),
      marker_(sys::device_path("/tmp/.corvane-connected")) {}

void subscription::send_subscribe_request() {
    if (!context_.driver.is_hostapd_running()) {
        log_debug(process_log, "Not sending subscribe-request because hostapd is not running\n");
        return;
    }
    log_debug(process_log, "Subscribe to RRM service\n");
    agent_message message(context_, "subscribe-request");
    message.add_int("ap-mac-count", 16);
    message.add_int("use-wildcard-80211r", 0);
    add_factory_info(message);
    report_.add_radios(message);
    context_.send(message);
}

void subscription::subscribe_now() {
    send_subscribe_request();
    subscribe_backoff_ = first_backoff_s;
    context_.timers.arm(timer_subscribe, subscribe_backoff_);
}

void subscription::retry_subscribe() {
    context_.timers.cancel(timer_subscribe);
    send_subscribe_request();
    double_backoff();
    context_.timers.arm(timer_subscribe, subscribe_backoff_);
}

void subscription::double_backoff() { subscribe_backoff_ = std::min(2 * subscribe_backoff_, longest_backoff_s); }

void subscription::wait_longer() {
    double_backoff();
    if (debug_enabled())
        log_debug(process_log, "Reconnect after %d sec\n", subscribe_backoff_);
    else
        log_info(process_log, "The radio service is busy: it is asked again in %d s\n", subscribe_backoff_);
    context_.timers.arm(timer_subscribe, subscribe_backoff_);
}

void subscription::send_unsubscribe() {
    log_debug(process_log, "Unsubscribe from RRM service: incorrect version\n");
    cancel_all_timers(context_.timers);
    log_debug(process_log, "Unsubscribe from RRM service\n");
    agent_message message(context_, "unsubscribe-request");
    add_factory_info(message);
    context_.send(message);
    send_json(context_.to_service, json_writer("internal-ipc", "unlink", nullptr));
    remove_marker();
}

void subscription::add_factory_info(json_writer& message) {
    json_writer factory(false, message, "factory");
    const factory_texts none{};
    const factory_texts* texts = context_.driver.get_factory_info();
    if (!texts) texts = &none;
    add_fixed_text(factory, "board", texts->board);
    add_fixed_text(factory, "hw", texts->hw);
    add_fixed_text(factory, "serial", texts->serial);
    add_fixed_text(factory, "mac", texts->base_mac);
}

void subscription::send_disassoc_all_clients() {
    log_debug(process_log, "Send disassoc all clients to server\n");
    agent_message message(context_, "rrm-disassoc-all-clients");
    add_factory_info(message);
    context_.send(message);
}

void subscription::accepted(const json_reader& response) {
    if (const char* domain = kept_text(response, "domain")) context_.domain = domain;
    const json_reader config = response.child("config");
    if (config.is_object()) settings_.apply_config(config);
    create_marker(marker_);
    log_info(process_log, "Subscribed to the radio service, domain %.64s\n", context_.domain.c_str());
}

void subscription::remove_marker() { unlink(marker_.c_str()); }

}  // namespace ravd

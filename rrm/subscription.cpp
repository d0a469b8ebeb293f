// The subscription to the service: requests with back-off, the answer, the link's ups and downs.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "core/logger.h"
#include "rrm/json.h"
#include "rrm/rrm_worker.h"

namespace ravd {
namespace {

constexpr std::int32_t first_backoff_s = 30;
constexpr std::int32_t longest_backoff_s = 120;
constexpr std::int32_t code_busy = 503;  // the service asks to come back later
constexpr std::int32_t fbt_reset_link_lost = 2;

// Leaves an empty file at `path`. Neither follows a link nor truncates what one points to; a directory in its place
// stays and the marker is missing.
void create_marker(const std::string& path) {
    unlink(path.c_str());
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd != -1) close(fd);
}

void add_fixed_text(json_writer& object, const char* key, const char (&field)[32]) {
    char text[sizeof field + 1];
    std::memcpy(text, field, sizeof field);
    text[sizeof field] = '\0';
    object.add_string(key, text);
}

}  // namespace

void rrm_worker::send_subscribe_request() {
    if (!driver_.is_hostapd_running()) {
        log_debug(process_log, "Not sending subscribe-request because hostapd is not running\n");
        return;
    }
    log_debug(process_log, "Subscribe to RRM service\n");
    json_writer message("rrm", "subscribe-request", driver_.get_base_mac());
    message.add_string("domain", domain_.c_str());
    message.add_int("ap-mac-count", 16);
    message.add_int("use-wildcard-80211r", 0);
    add_factory_info(message);
    add_radios(message);
    send_json(to_service_, message);
}

// A first request, with the retries that follow it.
void rrm_worker::subscribe_now() {
    send_subscribe_request();
    subscribe_backoff_ = first_backoff_s;
    arm(timer_subscribe, subscribe_backoff_);
}

void rrm_worker::retry_subscribe() {
    remove_timers(timer_subscribe);
    subscribing_ = true;
    send_subscribe_request();
    double_subscribe_backoff();
    arm(timer_subscribe, subscribe_backoff_);
}

void rrm_worker::double_subscribe_backoff() {
    subscribe_backoff_ = std::min(2 * subscribe_backoff_, longest_backoff_s);
}

void rrm_worker::send_unsubscribe() {
    log_debug(process_log, "Unsubscribe from RRM service: incorrect version\n");
    cancel_all_timers();
    log_debug(process_log, "Unsubscribe from RRM service\n");
    json_writer message("rrm", "unsubscribe-request", driver_.get_base_mac());
    message.add_string("domain", domain_.c_str());
    add_factory_info(message);
    send_json(to_service_, message);
    send_json(to_service_, json_writer("internal-ipc", "unlink", nullptr));
    unlink(files_.connected.c_str());
}

void rrm_worker::add_factory_info(json_writer& message) {
    json_writer factory(false, message, "factory");
    const factory_texts none{};
    const factory_texts* texts = driver_.get_factory_info();
    if (!texts) texts = &none;
    add_fixed_text(factory, "board", texts->board);
    add_fixed_text(factory, "hw", texts->hw);
    add_fixed_text(factory, "serial", texts->serial);
    add_fixed_text(factory, "mac", texts->base_mac);
}

void rrm_worker::send_disassoc_all_clients() {
    log_debug(process_log, "Send disassoc all clients to server\n");
    json_writer message("rrm", "rrm-disassoc-all-clients", driver_.get_base_mac());
    message.add_string("domain", domain_.c_str());
    add_factory_info(message);
    send_json(to_service_, message);
}

void rrm_worker::on_subscribe_response(const json_reader& message) {
    const char* status = message.get_string("status");
    if (!status) return;
    remove_timers(timer_subscribe);
    subscribing_ = false;
    if (std::strcmp(status, "success") != 0) {
        if (message.get_int("code") != code_busy) return;
        double_subscribe_backoff();
        log_debug(process_log, "Reconnect after %d sec\n", subscribe_backoff_);
        subscribing_ = true;
        arm(timer_subscribe, subscribe_backoff_);
        return;
    }
    subscribed_ = true;
    if (const char* domain = message.get_string("domain")) domain_ = domain;
    const json_reader config = message.child("config");
    if (config.valid()) apply_config(config);
    create_marker(files_.connected);
}

void rrm_worker::on_link_connected() {
    remove_timers(timer_subscribe);
    remove_timers(timer_rrm_response);
    subscribing_ = true;
    if (driver_.is_hostapd_running())
        subscribe_now();
    else
        log_debug(process_log, "Waiting for hostapd to start before sending subscribe-request\n");
}

void rrm_worker::on_link_disconnected() {
    log_debug(process_log, "Disconnected from RRM service - stop all scans and timers\n");
    cancel_all_timers();
    // What this link still had to say is void. Kept, a deferred scan order would start without a link, the next drop
    // would cancel its timer, and with the scan flag set for good no message would be handled any more.
    while (pending_.pop([](const std::shared_ptr<buffer_info_t>&) {})) {
    }
    if (subscribed_) {
        clear_station_tables();
        remove_neighbour_reports();
        driver_.reset_corvane(false);
        if (use_80211r_) driver_.reset_corvane_fbt_params(fbt_reset_link_lost);
        driver_.stop_all();
    }
    // Its timer is cancelled, subscribed or not.
    if (driver_.is_scanning()) driver_.stop_scan(active_scan_);
    subscribed_ = false;
    subscribing_ = false;
    unlink(files_.connected.c_str());
}

}  // namespace ravd

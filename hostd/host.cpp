#include "hostd/host.h"

#include <algorithm>

#include "core/ifname.h"
#include "core/logger.h"
#include "hostd/station_lookup.h"
#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd::hostd {
namespace {

constexpr std::int64_t look_ms = 1000;
constexpr std::int64_t busy_ms = 100;  // while something is under way
constexpr std::int64_t compare_ms = 30000;
constexpr unsigned settled_s = 10;  // a station's handshake is long over then
constexpr int end_attempts = 5;     // hostapd refuses a switch while another goes on
constexpr std::uint32_t end_pause_us = 300000;
constexpr int events_a_turn = 256;

std::string text_member(const json_reader& object, const char* key) {
    const char* text = object.get_string(key);
    return text ? text : "";
}

}  // namespace

host::host(settings own, nl80211_port& kernel, const std::string& bus_directory)
    : own_(std::move(own)),
      kernel_(kernel),
      vaps_(own_.hostapd_directory),
      configuration_(own_, hostapd_, vaps_, radios_, kernel_),
      holders_(vaps_, hostapd_),
      clients_(
          [this](const std::string& vap_name, const std::string& mac) {
              vap* at = vaps_.find(vap_name);
              return client_table::station_facts{configuration_.ssid(vap_name), station_signal(kernel_, vap_name, mac),
                                                 at && station_uses_80211v(*at, mac)};
          },
          [this](const client_event& event) {
              log_info(process_log, "%s: %s %s\n", event.vap.c_str(), event.mac.c_str(), event.type);
              bus_network_.send(module_agent, message_text(event));
          }),
      life_(own_, vaps_, hostapd_,
            {[this](const vap& on_air, bool anew) { vap_began(on_air, anew); },
             [this](const std::string& vap_name) { vap_ended(vap_name); }}),
      bus_configuration_(module_configuration, bus_directory,
                         [this](const std::string& command, const json_reader& request) {
                             return answer_configuration(command, request);
                         }),
      bus_network_(module_network, bus_directory, [this](const std::string& command, const json_reader& request) {
          return answer_network(command, request);
      }) {
    for (std::size_t radio = 0; radio < radio_names.size(); ++radio)
        radios_.push_back(std::make_unique<radio_control>(static_cast<int>(radio), kernel_, vaps_, hostapd_, own_));
}

void host::vap_began(const vap& on_air, bool anew) {
    if (!anew) return;
    std::vector<heard_station> present;
    find_stations(kernel_, on_air.name(), present);
    clients_.begin(on_air.name(), configuration_.ssid(on_air.name()), addresses_of(present));
    holders_.hostapd_started(on_air.name());
    // Once a radio.
    const auto index = static_cast<std::size_t>(on_air.radio());
    if (vaps_.of_radio(on_air.radio()) == &on_air) radios_[index]->hostapd_started(on_air.process());
}

void host::vap_ended(const std::string& vap_name) {
    log_info(process_log, "%s: is off the air\n", vap_name.c_str());
    clients_.forget(vap_name);
}

void host::take_events(std::int64_t now_ms) {
    std::string event;
    bool changed = false;
    for (const auto& one : vaps_.all()) {
        for (int i = 0; i < events_a_turn && one->next_event(event); ++i) {
            log_debug(process_log, "%s: %s\n", one->name().c_str(), event.c_str());
            clients_.take(one->name(), event, now_ms);
            changed = life_.take(*one, event) || changed;
        }
    }
    if (changed) next_look_ms_ = now_ms;
}

void host::look(std::int64_t now_ms) {
    bus_configuration_.look();
    bus_network_.look();
    life_.look(now_ms);
    holders_.continue_slow();
    for (const auto& radio : radios_)
        radio->follow();
    compare_clients(now_ms);
    next_look_ms_ = now_ms + look_ms;
}

void host::compare_clients(std::int64_t now_ms) {
    if (now_ms < next_compare_ms_) return;
    next_compare_ms_ = now_ms + compare_ms;
    for (const auto& one : vaps_.all()) {
        if (!one->description().enabled) continue;
        std::vector<heard_station> present;
        // A list that the kernel could not give says of nobody that he left.
        if (!find_stations(kernel_, one->name(), present)) continue;
        if (clients_.compare(one->name(), addresses_of(present), addresses_of(present, settled_s), now_ms))
            one->attach_again();
    }
}

void host::turn(std::int64_t now_ms) {
    vaps_.time().renew();
    take_events(now_ms);
    if (now_ms >= next_look_ms_) look(now_ms);
    bus_configuration_.serve();
    bus_network_.serve();
    for (const auto& radio : radios_)
        if (radio->switch_ended(now_ms)) raise_notice("config_updated");
}

const std::vector<pollfd>& host::descriptors() {
    descriptors_.clear();
    const auto add = [this](int fd) {
        if (fd >= 0) descriptors_.push_back({fd, POLLIN, 0});
    };
    bus_rest_ms_ = look_ms;
    for (bus_module* one : {&bus_configuration_, &bus_network_})
        if (const int limit = one->fill(descriptors_); limit >= 0)
            bus_rest_ms_ = std::min<std::int64_t>(bus_rest_ms_, limit);
    for (const auto& one : vaps_.all())
        add(one->descriptor());
    return descriptors_;
}

int host::rest_ms(std::int64_t now_ms) const {
    std::int64_t rest = std::clamp<std::int64_t>(next_look_ms_ - now_ms, 0, bus_rest_ms_);
    const auto switching = [](const auto& radio) { return radio->switching(); };
    if (std::any_of(radios_.begin(), radios_.end(), switching)) rest = std::min(rest, busy_ms);
    return static_cast<int>(rest);
}

void host::reset() {
    bool changed = false;
    for (const auto& radio : radios_) {
        std::string reason = radio->reset(changed);
        for (int i = 0; i < end_attempts && !reason.empty(); ++i) {
            sys::sleep_us(end_pause_us);
            reason = radio->reset(changed);
        }
        if (!reason.empty()) log_warning(process_log, "%s: %s\n", radio->name().c_str(), reason.c_str());
    }
    holders_.reset_all(changed);
    if (changed) log_info(process_log, "what the service ordered is taken back\n");
}

std::string host::answer_configuration(const std::string& command, const json_reader& request) {
    if (command != "get") return answer_text(command, "unknown command");
    const auto value = configuration_.value(text_member(request, "path"));
    return value ? value_text(command, *value) : answer_text(command, "not found");
}

radio_control* host::radio_named(const json_reader& request) const {
    const std::string name = text_member(request, "ifname");
    for (const auto& radio : radios_)
        if (radio->name() == name && radio->exists()) return radio.get();
    return nullptr;
}

std::string host::update_radio(const json_reader& request, bool& changed) {
    radio_control* radio = radio_named(request);
    if (!radio) return "no such radio";
    radio_order order;
    std::string reason = "no parameters";
    request.child("params").for_each([&](const char* key, const json_reader&) {
        const std::string name = key;
        const std::string value = text_member(request.child("params"), key);
        reason.clear();
        if (name == "channel")
            order.channel = value;
        else if (name == "bandwidth")
            order.bandwidth = value;
        else if (name == "control-sideband")
            order.sideband = value;
        else if (name == "tx-power")
            order.power = value;
        else if (name != "auto-channel")
            reason = "unknown parameter " + name.substr(0, 64);
        return reason.empty();
    });
    return reason.empty() ? radio->update(order, changed) : reason;
}

std::string host::answer_network(const std::string& command, const json_reader& request) {
    bool changed = false;
    std::string reason;
    if (command == "update-corvane") {
        reason = update_radio(request, changed);
    } else if (command == "reset-corvane") {
        radio_control* radio = radio_named(request);
        reason = radio ? radio->reset(changed) : "no such radio";
    } else if (command == "update-corvane-fbt") {
        reason = holders_.update(request, changed);
    } else if (command == "reset-corvane-fbt") {
        reason = holders_.reset(request, changed);
    } else {
        reason = "unknown command";
    }
    if (!reason.empty()) log_warning(process_log, "%s: %s\n", command.c_str(), reason.c_str());
    // A change of channel is told when it is through.
    const auto switching = [](const auto& radio) { return radio->switching(); };
    if (changed && std::none_of(radios_.begin(), radios_.end(), switching)) raise_notice("config_updated");
    return answer_text(command, reason);
}

}  // namespace ravd::hostd

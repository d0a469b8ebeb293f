#include "rrm/radio_report.h"

#include <utility>

#include "core/ifname.h"
#include "driver/chanspec.h"
#include "rrm/tables.h"

namespace ravd {
namespace {

// Power values of a radio that is not active.
constexpr std::int32_t idle_power = 16;
constexpr std::int32_t idle_power_max = 16;
constexpr std::int32_t idle_power_min = 11;
constexpr std::int32_t rssi_not_measured = -1000;
constexpr std::int64_t config_changed_delay_s = 5;  // several changes make one message

}  // namespace

void radio_report::add_radios(json_writer& message) {
    change_owed_ = false;
    forget_reading();
    json_writer radios(true, message, "radios");
    const std::int32_t count = context_.radio_count();
    for (std::int32_t radio = 0; radio < count; ++radio)
        add_radio_description(radios, radio_names[static_cast<std::size_t>(radio)], radio);
}

void radio_report::add_radio_description(json_writer& radios, const char* ifname, std::int32_t radio) {
    context_.progress.tick();
    const bool active = context_.driver.radio_up(radio) && context_.driver.any_vap_active(radio);
    const bool coex = context_.driver.get_radio_obss_coex(radio);
    const bool locked = active ? context_.driver.radio_wds_enabled(radio) : true;
    const int vap_base = context_.driver.get_vap_base(radio);
    const int vap_span = context_.driver.get_vap_span(radio);
    const int power = active ? context_.driver.get_tx_power(ifname) : idle_power;
    const int power_max = active ? context_.driver.get_tx_power_max(radio) : idle_power_max;
    const int power_min = active ? context_.driver.get_tx_power_min(radio) : idle_power_min;
    const std::uint32_t chanspec = context_.driver.get_chanspec(ifname);
    const std::uint32_t configured = active ? context_.driver.get_radio_bandwidth(radio) : 0;
    const std::uint32_t channel = chanspec_ctl_channel(chanspec);
    const std::uint32_t band = band_of_channel(channel);
    const std::uint32_t chosen = coex ? configured : chanspec;
    const std::uint32_t bandwidth = chanspec_bw(chosen);
    const char* primary = chanspec_sideband(chosen);
    const bool dca = context_.driver.read_switch("/corvane/dca");
    const bool tpc = context_.driver.read_switch("/corvane/tpc");
    const bool balance_80211v = context_.driver.read_switch("/corvane/load-balance-80211v");

    json_writer radio_object(false, radios, nullptr);
    if (!radio_object.valid()) return;
    radio_object.add_int("id", radio);
    radio_object.add_int("status", active);
    radio_object.add_int("mac-offset", vap_base);
    radio_object.add_int("radio-mac-count", vap_span);
    radio_object.add_int("locked-for-dca", locked || !dca);
    radio_object.add_int("locked-for-tpc", locked || !tpc);
    radio_object.add_int("locked-for-balancer", 1);
    radio_object.add_int("locked-for-80211v", locked || !balance_80211v);
    radio_object.add_int("power", power);
    radio_object.add_int("power-max", power_max);
    radio_object.add_int("power-min", power_min);
    radio_object.add_int("channel", active ? static_cast<std::int32_t>(channel) : default_channel(band));
    radio_object.add_int("band", static_cast<std::int32_t>(band));
    radio_object.add_int("bandwidth", static_cast<std::int32_t>(bandwidth));
    radio_object.add_string("primary-channel", primary);
    if (!active) return;

    std::string available;
    context_.driver.fill_chanspecs(ifname, available);
    radio_object.add_string("available-channels", available.c_str());
    {
        json_writer vaps(true, radio_object, "vaps");
        context_.driver.for_each_vap(ifname, [&](int vap, const char* ssid, const char* mac, bool kv_enabled) {
            add_vap_description(vap, ssid, mac, kv_enabled, vaps, radio);
        });
    }
    if (!state_.subscribed() || settings_.use_80211v()) {
        json_writer stations(true, radio_object, "assoclist");
        context_.driver.get_assoc_stas(ifname,
                                       [&](const rrm_sta_s& station) { add_station_description(station, stations); });
    }
}

void radio_report::add_vap_description(int vap, const char* ssid, const char* mac, bool kv_enabled, json_writer& vaps,
                                       std::int32_t radio) {
    json_writer object(false, vaps, nullptr);
    object.add_int("id", vap);
    object.add_string("ssid", ssid);
    object.add_string("mac", mac);
    object.add_int("802dot11k", kv_enabled);
    object.add_int("802dot11r", context_.driver.is_ft_enabled(radio, vap));
}

void radio_report::add_station_description(const rrm_sta_s& station, json_writer& stations) {
    json_writer object(false, stations, nullptr);
    object.add_string("mac", station.mac.c_str());
    object.add_string("ssid", station.ssid.c_str());
    object.add_int("rssi", station.rssi == rssi_not_measured ? 0 : station.rssi);
}

void radio_report::send_config_changed() {
    agent_message message(context_, "rrm-config-changed");
    add_radios(message);
    context_.send(message);
}

// Any but a request leaves it at that.
void radio_report::next_message(std::size_t behind) {
    behind_ = behind;
    covered_ = std::exchange(covers_, 0);
}

// Answers that cost no reading are made faster than a link may take them, and a full queue would lose them: once it is
// half full, each takes its time again.
void radio_report::answer_request() {
    if (covered_ == 0 || context_.to_service.held() > queue_limit / 2) {
        const std::size_t behind = behind_;
        agent_message message(context_, "rrm-mode-response");
        add_radios(message);
        answer_ = make_message(message);
        covered_ = answer_ ? behind + 1 : 1;
    }
    covers_ = std::exchange(covered_, 0) - 1;
    context_.send(answer_);
}

void radio_report::forget_reading() {
    answer_.reset();
    covers_ = covered_ = behind_ = 0;
}

void radio_report::config_changed_soon() {
    context_.timers.cancel(timer_config_changed);
    context_.timers.arm(timer_config_changed, config_changed_delay_s);
}

void radio_report::config_changed_due() {
    send_config_changed();
    context_.timers.cancel(timer_config_changed);
}

}  // namespace ravd

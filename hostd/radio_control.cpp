#include "hostd/radio_control.h"

#include <algorithm>
#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"
#include "hostd/lines.h"
#include "platform/monotonic.h"

namespace ravd::hostd {
namespace {

constexpr int default_lowest_power = 11;   // dBm
constexpr int default_highest_power = 20;  // dBm, where the kernel tells none
constexpr int power_range = 100;           // dBm: beyond any radio
constexpr std::int64_t switch_limit_ms = 4000;
constexpr int attempts = 60;  // hostapd refuses a switch while another goes on, and while it begins

const char* error_text(int result) { return std::strerror(-result); }

// 0, no channel and no width, for a text that is no such number.
std::uint32_t number_or_0(const std::string& text, std::int64_t high) {
    return static_cast<std::uint32_t>(std::max<std::int64_t>(number_of(text, high), 0));
}

std::string told(const channel_use& use) {
    std::string text = "channel " + std::to_string(use.channel) + " with " + std::to_string(use.width) + " MHz";
    if (use.width == 40 && use.channel <= 14) text += use.upper ? ", upper" : ", lower";
    return text;
}

}  // namespace

radio_control::radio_control(int index, nl80211_port& kernel, const vap_table& vaps, const hostapd_config& hostapd,
                             const settings& own)
    : index_(index),
      name_(radio_names[static_cast<std::size_t>(index)]),
      kernel_(kernel),
      vaps_(vaps),
      hostapd_(hostapd),
      own_(own) {}

bool radio_control::interface_named(const std::string& name, wireless_interface& found) const {
    std::uint32_t index = 0;
    return kernel_.interface_index(name.c_str(), index) == 0 && kernel_.get_interface(index, found) == 0;
}

bool radio_control::exists() const {
    wireless_interface radio;
    return interface_named(name_, radio);
}

std::optional<phy_info> radio_control::phy() const {
    wireless_interface radio;
    phy_info info;
    if (!interface_named(name_, radio) || kernel_.get_phy(radio.phy, info) != 0) return std::nullopt;
    return info;
}

channel_use radio_control::current_channel() const {
    const vap* running = vaps_.of_radio(index_);
    wireless_interface interface;
    if (!running || !interface_named(running->name(), interface)) return {};
    return channel_of(interface);
}

channel_use radio_control::configured_channel() const {
    const vap* running = vaps_.of_radio(index_);
    const channel_use written = running ? hostapd_.channel(running->name()) : channel_use();
    return written.channel != 0 ? written : began_;
}

void radio_control::hostapd_started(int process) {
    announced_ = {};
    const bool first = process_ == 0;
    // A VAP that goes and comes while the process stays comes back where it was.
    if (process != process_) began_ = current_channel();
    process_ = process;
    // What another ravd-hostd ordered that was killed: a reset has to undo it.
    if (first && ordered_.channel == 0 && began_.channel != 0 && began_.channel != configured_channel().channel)
        ordered_ = began_;
    // The radio may be another one, after its driver was loaded anew.
    const std::optional<int> power = ordered_power_ ? ordered_power_ : configured_power();
    std::string reason = power ? set_power(power) : "";
    if (!reason.empty()) log_warning(process_log, "%s: %s\n", name_.c_str(), reason.c_str());
    bool changed = false;
    if (ordered_.channel == 0) return;
    reason = go_where_due(vaps_.time(), changed);
    if (!reason.empty())
        log_warning(process_log, "%s stays as hostapd began for now: %s\n", name_.c_str(), reason.c_str());
}

std::string radio_control::go_where_due(patience& time, bool& changed) {
    const channel_use due = ordered_.channel != 0 ? ordered_ : configured_channel();
    // Without a VAP on the air there is nothing to do: hostapd begins as configured, and is told what is ordered then.
    std::string reason = due.channel != 0 && vaps_.of_radio(index_) ? go_to(due, time, changed) : "";
    if (reason.empty())
        attempts_left_ = 0;
    else if (attempts_left_ == 0)
        attempts_left_ = attempts;
    return reason;
}

void radio_control::follow() {
    if (attempts_left_ == 0 || announced_.to.channel != 0 || vaps_.time().spent()) return;
    --attempts_left_;
    const int left = attempts_left_;
    bool changed = false;
    const std::string reason = go_where_due(vaps_.time(), changed);
    if (reason.empty()) return;
    attempts_left_ = left;
    if (left == 0) log_warning(process_log, "%s stays where it is: %s\n", name_.c_str(), reason.c_str());
}

std::string radio_control::go_to(const channel_use& use, patience& time, bool& changed) {
    vap* running = vaps_.of_radio(index_);
    if (!running) return "hostapd has no VAP of " + name_ + " on the air";
    if (announced_.to.channel != 0 && same_channel(announced_.to, use)) return {};
    const channel_use current = current_channel();
    if (announced_.to.channel == 0 && same_channel(current, use)) return {};
    // hostapd would be left with the other band's rates.
    if (current.channel != 0 && use.channel != 0 && (current.channel <= 14) != (use.channel <= 14))
        return "that is not the radio's band";
    const auto info = phy();
    if (!info) return name_ + " is not there";
    std::string reason;
    const std::string order = channel_switch_order(use, *info, running->description().modes, reason);
    if (order.empty()) return reason;
    std::string reply;
    const hostapd_result result = time.ask(running->control(), order, reply);
    if (result != hostapd_result::answered) return text_of(result);
    if (reply != "OK") return "hostapd refuses to go to " + told(use);
    log_info(process_log, "%s: goes to %s\n", name_.c_str(), told(use).c_str());
    announced_ = {use, monotonic_ms() + switch_limit_ms};
    changed = true;
    return {};
}

bool radio_control::switch_ended(std::int64_t now_ms) {
    if (announced_.to.channel == 0) return false;
    const channel_use current = current_channel();
    const bool there = same_channel(current, announced_.to);
    if (!there && now_ms < announced_.until_ms) return false;
    if (!there)
        log_warning(process_log, "%s: should be on %s, is on %s\n", name_.c_str(), told(announced_.to).c_str(),
                    told(current).c_str());
    announced_ = {};
    return true;
}

std::string radio_control::set_power(std::optional<int> dbm) {
    wireless_interface radio;
    if (!interface_named(name_, radio)) return name_ + " is not there";
    const auto power = dbm ? std::optional<std::int32_t>(*dbm * 100) : std::nullopt;
    const int result = kernel_.set_tx_power(radio.phy, power);
    if (result < 0) return std::string("the kernel refuses the power: ") + error_text(result);
    log_info(process_log, "%s: power %s\n", name_.c_str(), dbm ? std::to_string(*dbm).c_str() : "automatic");
    return {};
}

std::string radio_control::update(const radio_order& order, bool& changed) {
    channel_use use = announced_.to.channel != 0 ? announced_.to : current_channel();
    const bool moves = !order.channel.empty() || !order.bandwidth.empty() || !order.sideband.empty();
    if (!order.channel.empty()) use.channel = number_or_0(order.channel, 200);
    if (!order.bandwidth.empty()) use.width = number_or_0(order.bandwidth, 320);
    if (!order.sideband.empty()) use.upper = order.sideband == "upper";
    std::optional<int> power;
    if (!order.power.empty()) {
        power = static_cast<int>(number_of(order.power, power_range));
        if (*power < power_limit(false) || *power > power_limit(true))
            return "a power of " + order.power + " is outside the radio's limits";
    }
    if (moves) {
        patience time(order_wait_ms);
        std::string reason = go_to(use, time, changed);
        if (!reason.empty()) return reason;
        ordered_ = use;
        attempts_left_ = 0;
    }
    if (power) {
        std::string reason = set_power(power);
        if (!reason.empty()) return reason;
        changed = changed || ordered_power_ != power;
        ordered_power_ = power;
    }
    return {};
}

std::string radio_control::reset(bool& changed) {
    std::string reason;
    if (ordered_power_) {
        reason = set_power(configured_power());
        if (reason.empty()) changed = true;
        ordered_power_.reset();
    }
    if (ordered_.channel == 0 && attempts_left_ == 0) return reason;
    ordered_ = {};
    patience time(order_wait_ms);
    std::string other = go_where_due(time, changed);
    return reason.empty() ? other : reason;
}

std::optional<std::string> radio_control::own_value(const char* key) const {
    const auto found = own_.values.find("/interface/" + name_ + "/wlan/radio/" + key);
    return found == own_.values.end() ? std::nullopt : std::optional<std::string>(found->second);
}

std::optional<int> radio_control::configured_power() const {
    const auto own = own_value("tx-power");
    return own ? std::optional<int>(static_cast<int>(number_or_0(*own, power_range))) : std::nullopt;
}

int radio_control::power_limit(bool highest) const {
    if (const auto own = own_value(highest ? "tx-power-max" : "tx-power-min"))
        return static_cast<int>(number_or_0(*own, power_range));
    int most = default_highest_power;
    if (const auto info = phy()) {
        const std::uint32_t frequency = frequency_of_channel(current_channel().channel);
        for (const phy_band& band : info->bands)
            for (const phy_channel& channel : band.channels)
                if (channel.frequency == frequency && channel.max_power > 0) most = channel.max_power / 100;
    }
    return highest ? most : std::min(default_lowest_power, most);
}

std::optional<std::string> radio_control::value(const std::string& key) const {
    const channel_use use = ordered_.channel != 0 ? ordered_ : configured_channel();
    if (key == "channel") return std::to_string(use.channel);
    if (key == "bandwidth") return std::to_string(use.width);
    if (key == "control-sideband") return use.upper ? "upper" : "lower";
    if (key == "auto-channel") {
        const vap* running = vaps_.of_radio(index_);
        const bool fixed = ordered_.channel != 0 || (running && hostapd_.channel(running->name()).channel != 0);
        return fixed ? "false" : "true";
    }
    if (key == "tx-power-max") return std::to_string(power_limit(true));
    if (key == "tx-power-min") return std::to_string(power_limit(false));
    if (key == "use-limit-channels") return "false";
    if (key == "tx-power") {
        const std::optional<int> power = ordered_power_ ? ordered_power_ : configured_power();
        wireless_interface radio;
        if (!power && !interface_named(name_, radio)) return std::nullopt;
        return std::to_string(power ? *power : radio.tx_power / 100);
    }
    if (key == "country") {
        std::string country;
        const vap* running = vaps_.of_radio(index_);
        if (running) country = hostapd_.country(running->name());
        if (country.empty() && kernel_.get_country(country) != 0) return std::nullopt;
        return country;
    }
    return std::nullopt;
}

}  // namespace ravd::hostd

#include "sim/service/pilot.h"

#include <utility>

#include "sim/service/presentation.h"

namespace ravd::sim {
namespace {

// A description is asked for when none arrives by itself, and again at this distance in seconds.
constexpr double ask_distance = 10;

std::string setting(const decision& d) {
    return "channel " + std::to_string(d.channel) + " at " + std::to_string(d.bandwidth) + " MHz" +
           (d.bandwidth == 40 ? " " + d.primary : "") + ", power " + std::to_string(d.power);
}

radio_setting as_setting(const decision& d) {
    radio_setting radio;
    radio.id = d.radio;
    if (d.set_channel) {
        radio.channel = d.channel;
        radio.bandwidth = d.bandwidth;
        if (d.bandwidth == 40) radio.primary = d.primary;
    }
    if (d.set_power) radio.power = d.power;
    return radio;
}

std::string tail_of(const std::string& text) { return text.empty() ? "" : " (" + text + ")"; }

}  // namespace

pilot::pilot(const auto_options& options, order_context& context, sender send,
             std::function<void(const std::string&)> say, std::function<void(const json_ptr&)> judged)
    : options_(options), context_(context), send_(std::move(send)), say_(std::move(say)), judged_(std::move(judged)) {}

void pilot::subscribed(double now) {
    if (phase_ != phase::unsubscribed) return;
    order_scan(now);
}

void pilot::order_scan(double now) {
    phase_ = phase::scanning;
    due_ = now + options_.scan_timeout;
    started_ = now;
    say_("round " + std::to_string(round_ + 1) + " of " + std::to_string(options_.rounds) + ": scanning " +
         (options_.channels.empty() ? "every channel" : options_.channels));
    if (!send_(scan_message(context_, options_.channels, 0, false))) fail("the scan could not be ordered");
}

void pilot::scanned(const std::vector<radio_view>& radios, const std::vector<reported_bss>& environment, double now) {
    if (phase_ != phase::scanning) return;
    last_ = radios;
    ordered_ = plan(radios, environment);
    say_("heard " + std::to_string(environment.size()) + " entries after " +
         std::to_string(static_cast<int>(now - started_)) + " s");
    configuration settings;
    settings.use_dca = settings.use_tpc = 1;
    settings.use_80211v = context_.use_80211v ? 1 : 0;
    for (const decision& d : ordered_) {
        say_("radio " + std::to_string(d.radio) + ": " + setting(d) + tail_of(d.reason));
        if (!d.set_channel && !d.set_power) continue;
        settings.radios.push_back(as_setting(d));
    }
    if (ordered_.empty()) return fail("no radio is up");
    phase_ = phase::applying;
    due_ = now + options_.apply_timeout;
    ask_again_ = now + ask_distance;
    changes_seen_ = 0;
    if (settings.radios.empty()) {
        say_("every radio is locked; nothing to order");
        return finish_round(now);
    }
    if (!send_(configuration_message(context_, std::move(settings)))) fail("the settings could not be ordered");
}

void pilot::described(const std::string& cmd, const std::vector<radio_view>& radios, double now) {
    last_ = radios;
    if (phase_ != phase::applying) return;
    if (cmd == "rrm-config-changed") ++changes_seen_;
    for (const decision& d : ordered_) {
        bool shown = false;
        for (const radio_view& radio : radios)
            shown = shown || (radio.id == d.radio && difference(d, radio).empty());
        // The rest may be on its way: several messages can follow one order.
        if (!shown) return;
    }
    finish_round(now);
}

void pilot::finish_round(double now) {
    for (const decision& d : ordered_) {
        std::string fault = "is not described";
        for (const radio_view& radio : last_)
            if (radio.id == d.radio) fault = difference(d, radio);
        passed_ = passed_ && fault.empty();
        say_((fault.empty() ? "PASS" : "FAIL") + std::string(" radio ") + std::to_string(d.radio) + " " + setting(d) +
             (fault.empty() ? "" : ": " + fault));
        judged_(verdict(d, fault));
    }
    say_("after " + std::to_string(static_cast<int>(now - started_)) + " s and " + std::to_string(changes_seen_) +
         " rrm-config-changed");
    ++round_;
    phase_ = round_ >= options_.rounds ? phase::done : phase::resting;
    due_ = now + options_.interval;
}

json_ptr pilot::verdict(const decision& d, const std::string& fault) const {
    json_ptr object = new_json_object();
    json_put(object.get(), "round", static_cast<int>(round_ + 1));
    json_put(object.get(), "radio", d.radio);
    json_put(object.get(), "channel", d.channel);
    json_put(object.get(), "bandwidth", d.bandwidth);
    json_put(object.get(), "primary-channel", d.primary);
    json_put(object.get(), "power", d.power);
    json_put(object.get(), "load", json_decimal(d.load, two_digits(d.load)));
    json_put(object.get(), "load-before", json_decimal(d.current_load, two_digits(d.current_load)));
    json_put(object.get(), "reason", d.reason);
    json_put_flag(object.get(), "passed", fault.empty());
    if (!fault.empty()) json_put(object.get(), "fault", fault);
    return object;
}

void pilot::fail(const std::string& why) {
    say_("FAIL " + why);
    json_ptr object = new_json_object();
    json_put(object.get(), "round", static_cast<int>(round_ + 1));
    json_put_flag(object.get(), "passed", false);
    json_put(object.get(), "fault", why);
    judged_(object);
    passed_ = false;
    phase_ = phase::done;
}

void pilot::turn(double now) {
    if (phase_ == phase::scanning && now >= due_) {
        fail("no report of the scan within " + std::to_string(options_.scan_timeout) + " s");
    } else if (phase_ == phase::resting && now >= due_) {
        order_scan(now);
    } else if (phase_ == phase::applying && now >= due_) {
        finish_round(now);
    } else if (phase_ == phase::applying && now >= ask_again_) {
        ask_again_ = now + ask_distance;
        send_(mode_message(context_));
    }
}

}  // namespace ravd::sim

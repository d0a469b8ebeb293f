#include "sim/service/domain/rollout.h"

#include <algorithm>
#include <utility>

namespace ravd::sim {
namespace {

// An order is not answered: a description is asked for soon after it, and again at the longer distance. Seconds.
constexpr double first_question = 3;
constexpr double next_question = 10;

configuration settings_of(const access_point_order& order) {
    configuration settings;
    settings.use_dca = settings.use_tpc = 0;
    for (const radio_order& one : order.radios) {
        radio_setting radio;
        radio.id = one.radio;
        if (one.set_block) {
            settings.use_dca = 1;
            radio.channel = one.to.channel;
            radio.bandwidth = one.to.bandwidth;
            if (one.to.bandwidth == 40) radio.primary = one.to.primary;
        }
        if (one.set_power) {
            settings.use_tpc = 1;
            radio.power = one.to.power;
        }
        settings.radios.push_back(radio);
    }
    return settings;
}

}  // namespace

std::string missing_of(const access_point_order& order, const std::vector<radio_view>* radios) {
    if (!radios) return "is not there";
    std::string text;
    for (const radio_order& one : order.radios) {
        const auto shown = std::find_if(radios->begin(), radios->end(),
                                        [&](const radio_view& radio) { return radio.id == one.radio; });
        const std::string name = "radio " + std::to_string(one.radio);
        if (shown == radios->end() || !shown->active) return name + " is down";
        const radio_setup found = {shown->channel, shown->bandwidth, shown->primary, shown->power};
        const bool same =
            (!one.set_block || same_block(found, one.to)) && (!one.set_power || found.power == one.to.power);
        if (!same) text += (text.empty() ? "" : ", ") + name + " shows " + text_of(found) + ", not " + text_of(one.to);
    }
    return text;
}

rollout::rollout(domain_world& world, std::vector<std::vector<access_point_order>> stages,
                 const rollout_settings& settings, std::function<json_ptr(const std::string&)> lists,
                 std::function<void(const std::string&)> say)
    : world_(world), stages_(std::move(stages)), settings_(settings), lists_(std::move(lists)), say_(std::move(say)) {}

void rollout::begin(double now) {
    if (stages_.empty())
        state_ = outcome::done;
    else
        begin_stage(now);
}

void rollout::begin_stage(double now) {
    resting_ = false;
    due_ = now + settings_.timeout;
    ask_at_ = now + first_question;
    waiting_.clear();
    std::string names;
    for (const access_point_order& order : stages_[at_]) {
        names += " " + order.ap_mac;
        waiting_.push_back({&order, 0});
    }
    say_("stage " + std::to_string(stage()) + " of " + std::to_string(stages()) + ":" + names);
    for (pending& one : waiting_)
        send(one, now);
}

void rollout::send(pending& one, double now) {
    const std::string& mac = one.order->ap_mac;
    configuration settings = settings_of(*one.order);
    settings.neighbours = lists_(mac);
    // Who is away may come back: turn() tries again.
    if (!world_.configure(mac, std::move(settings))) return;
    one.link = world_.link_of(mac);
    ask_at_ = now + first_question;
    if (std::find(ordered_.begin(), ordered_.end(), mac) == ordered_.end()) ordered_.push_back(mac);
}

bool rollout::shows(const access_point_order& order) const {
    return missing_of(order, world_.radios_of(order.ap_mac)).empty();
}

void rollout::described(const std::string& ap_mac, double now) {
    if (state_ != outcome::running || resting_) return;
    const auto settled = [&](const pending& one) {
        return one.order->ap_mac == ap_mac && one.link != 0 && one.link == world_.link_of(ap_mac) && shows(*one.order);
    };
    const auto end = std::remove_if(waiting_.begin(), waiting_.end(), settled);
    if (end == waiting_.end()) return;
    waiting_.erase(end, waiting_.end());
    if (waiting_.empty()) stage_over(now);
}

void rollout::stage_over(double now) {
    if (at_ + 1 >= stages_.size() || (!fault_.empty() && !settings_.go_on_after)) {
        state_ = fault_.empty() ? outcome::done : outcome::failed;
        return;
    }
    resting_ = true;
    due_ = now + settings_.settle;
}

void rollout::time_out(double now) {
    for (const pending& one : waiting_) {
        const std::string missing = missing_of(*one.order, world_.radios_of(one.order->ap_mac));
        const std::string what = one.order->ap_mac + ": " + (missing.empty() ? "does not answer" : missing);
        say_("within " + std::to_string(static_cast<int>(settings_.timeout)) + " s, " + what);
        if (fault_.empty()) fault_ = what;
    }
    waiting_.clear();
    stage_over(now);
}

void rollout::stop(const std::string& why) {
    if (fault_.empty()) fault_ = why;
    settings_.go_on_after = false;
    if (resting_ && state_ == outcome::running) state_ = outcome::failed;
}

void rollout::turn(double now) {
    if (state_ != outcome::running) return;
    if (resting_) {
        if (now < due_) return;
        ++at_;
        begin_stage(now);
        return;
    }
    // A connection that was lost took the settings with it: the order goes out anew over the next one.
    for (pending& one : waiting_) {
        const unsigned link = world_.link_of(one.order->ap_mac);
        if (link != 0 && link != one.link) send(one, now);
    }
    if (now >= due_) return time_out(now);
    if (now < ask_at_) return;
    ask_at_ = now + next_question;
    for (const pending& one : waiting_)
        world_.ask(one.order->ap_mac);
}

}  // namespace ravd::sim

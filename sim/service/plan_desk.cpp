#include "sim/service/plan_desk.h"

#include <strings.h>

#include <algorithm>
#include <utility>

#include "sim/common/table.h"
#include "sim/service/domain/neighbours.h"
#include "sim/service/plan_options.h"
#include "sim/service/presentation.h"

namespace ravd::sim {
namespace {

constexpr const char* steps[] = {"propose", "scan", "apply", "undo", "status", "json", "neighbours", "balance"};

}  // namespace

// --- the agents

agent* agent_world::find(const std::string& ap_mac) const {
    for (auto it = agents_.rbegin(); it != agents_.rend(); ++it)
        if (it->second.subscribed && strcasecmp(it->second.orders.ap_mac.c_str(), ap_mac.c_str()) == 0)
            return &it->second;
    return nullptr;
}

std::vector<access_point_view> agent_world::access_points() const {
    std::vector<access_point_view> list;
    for (const auto& [number, who] : agents_) {
        if (find(who.orders.ap_mac) != &who || who.orders.ap_mac.empty()) continue;
        list.push_back(
            {who.orders.ap_mac, number, who.radios, who.received.count("rrm-response") > 0, who.environment});
    }
    std::sort(list.begin(), list.end(),
              [](const access_point_view& a, const access_point_view& b) { return a.ap_mac < b.ap_mac; });
    return list;
}

const std::vector<radio_view>* agent_world::radios_of(const std::string& ap_mac) const {
    const agent* who = find(ap_mac);
    return who ? &who->radios : nullptr;
}

unsigned agent_world::link_of(const std::string& ap_mac) const {
    const agent* who = find(ap_mac);
    return who ? who->number : 0;
}

bool agent_world::configure(const std::string& ap_mac, configuration settings) {
    agent* who = find(ap_mac);
    if (!who) return false;
    settings.use_80211v = who->orders.use_80211v ? 1 : 0;
    return send_(*who, configuration_message(who->orders, std::move(settings)));
}

bool agent_world::ask(const std::string& ap_mac) {
    agent* who = find(ap_mac);
    return who && send_(*who, mode_message(who->orders));
}

bool agent_world::scan(const std::string& ap_mac, const std::string& channels) {
    agent* who = find(ap_mac);
    return who && send_(*who, scan_message(who->orders, channels, 0, false));
}

bool agent_world::overload(const std::string& ap_mac, int radio, int clients, json_ptr neighbours) {
    agent* who = find(ap_mac);
    if (!who) return false;
    json_ptr message = envelope("rrm-sta-overload", who->orders.ap_mac);
    json_ptr one = new_json_object();
    json_put(one.get(), "id", radio);
    json_put(one.get(), "roam-count", clients);
    json_ptr radios = new_json_array();
    json_append(radios.get(), std::move(one));
    json_put(message.get(), "radios", std::move(radios));
    json_put(message.get(), "802dot11k", std::move(neighbours));
    return send_(*who, message);
}

const agent* agent_world::automatic() const {
    for (const auto& [number, who] : agents_)
        if (who.autopilot && !who.autopilot->done()) return &who;
    return nullptr;
}

// --- the commands

plan_desk::plan_desk(std::map<unsigned, agent>& agents, agent_world::sender send,
                     std::function<void(const std::string&)> say, std::function<void()> rested)
    : world_(agents, std::move(send)),
      rested_(std::move(rested)),
      session_(world_, std::move(say), [this] { changed(); }) {}

void plan_desk::changed() {
    const bool rests = session_.at_rest();
    if (rests && !at_rest_) rested_();
    at_rest_ = rests;
    if (watcher_) watcher_();
}

bool plan_desk::status(std::string& reply) {
    reply = session_.text();
    if (session_.last()) reply += "\n" + proposal_text(*session_.last());
    const std::string options = option_text(session_.options());
    if (!options.empty()) reply += "\noptions" + options;
    return true;
}

bool plan_desk::neighbours(std::string& reply) {
    const plan_model model = build_model(world_.access_points(), session_.options().limits);
    const interference costs(model);
    std::size_t entries = 0;
    std::size_t sent = 0;
    for (std::size_t i = 0; i < model.radios.size(); ++i) {
        const std::string& mac = model.radios[i].ap_mac;
        if (i > 0 && model.radios[i - 1].ap_mac == mac) continue;
        configuration settings;
        settings.neighbours = neighbour_lists(costs, costs.present(), mac);
        const std::size_t length = json_length(settings.neighbours.get());
        if (!world_.configure(mac, std::move(settings))) continue;
        entries += length;
        ++sent;
    }
    reply = std::to_string(sent) + " access points were told of " + std::to_string(entries) + " neighbours";
    return true;
}

bool plan_desk::balance(bool order, std::string& reply) {
    const plan_model model = build_model(world_.access_points(), session_.options().limits);
    const interference costs(model);
    table t({"ap-mac", "radio", "clients", "neighbours have", "to leave"});
    const std::vector<overloaded_radio> list = overloaded_radios(costs);
    for (const overloaded_radio& one : list) {
        const domain_radio& radio = model.radios[one.radio];
        t.add({radio.ap_mac, std::to_string(radio.id), std::to_string(one.clients), two_digits(one.neighbours_mean),
               std::to_string(one.leave)});
        if (order) world_.overload(radio.ap_mac, radio.id, one.leave, relief_list(costs, one));
    }
    reply = list.empty() ? "no radio has far more clients than its neighbours" : t.text();
    return true;
}

bool plan_desk::run(const std::vector<argument>& args, double now, std::string& reply) {
    std::string step;
    std::string detail;
    plan_options options = session_.options();
    for (const argument& a : args) {
        if (!a.key.empty()) {
            if (!set_option(options, a, reply)) return false;
        } else if (step.empty()) {
            step = a.value;
        } else if (step == "balance" && a.value == "apply" && detail.empty()) {
            detail = a.value;
        } else {
            reply = "plan takes one step and options, not \"" + a.value + "\"";
            return false;
        }
    }
    if (!step.empty() && std::find(std::begin(steps), std::end(steps), step) == std::end(steps)) {
        reply = "plan knows no step \"" + step + "\"; try " + plan_usage();
        return false;
    }
    session_.options() = options;
    // Each would take the other's orders for its own, or for a fault.
    const agent* busy = step == "scan" || step == "apply" || step == "undo" ? world_.automatic() : nullptr;
    if (busy) {
        reply = "the automatic mode (--auto) is not done with " + busy->name() + "; one planner at a time";
        return false;
    }
    if (step == "scan") return session_.scan(now, reply);
    if (step == "apply") return session_.apply(now, reply);
    if (step == "undo") return session_.undo(now, reply);
    if (step == "status") return status(reply);
    if (step == "neighbours") return neighbours(reply);
    if (step == "balance") return balance(detail == "apply", reply);
    if (step == "json") {
        reply = json_compact(session_.json().get());
        return true;
    }
    if (!session_.propose(reply)) return false;
    reply = proposal_text(*session_.last());
    return true;
}

const char* plan_usage() {
    static const std::string text = [] {
        std::string usage = "[";
        for (const char* step : steps)
            usage += (usage.size() > 1 ? "|" : "") + std::string(step);
        return usage + "]" + option_usage();
    }();
    return text.c_str();
}

}  // namespace ravd::sim

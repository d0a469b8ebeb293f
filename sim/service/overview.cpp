#include "sim/service/overview.h"

#include "sim/common/table.h"

namespace ravd::sim {
namespace {

// "6/20 16 dBm", or that it is down.
std::string radio_text(const radio_view& radio) {
    if (!radio.active) return "down";
    return std::to_string(radio.channel) + "/" + std::to_string(radio.bandwidth) + " " + std::to_string(radio.power) +
           " dBm";
}

std::string cell(const std::string& text) { return text.empty() ? "-" : text; }

}  // namespace

std::string overview_table(const std::map<unsigned, agent>& agents, double now) {
    if (agents.empty()) return "no agents";
    table t({"agent", "ap-mac", "state", "domain", "radio 0", "radio 1", "clients", "heard", "violations"});
    for (const auto& [number, one] : agents) {
        std::string radios[2];
        std::size_t clients = 0;
        for (const radio_view& radio : one.radios) {
            clients += radio.stations.size();
            if (radio.id == 0 || radio.id == 1) radios[radio.id] = radio_text(radio);
        }
        const std::string ago = one.last_heard > 0 ? std::to_string(static_cast<long>(now - one.last_heard)) : "";
        t.add({std::to_string(number), cell(one.orders.ap_mac), one.subscribed ? "subscribed" : "connected",
               cell(one.domain), cell(radios[0]), cell(radios[1]), std::to_string(clients),
               ago.empty() ? "never" : ago + " s ago", std::to_string(one.violations)});
    }
    return t.text();
}

}  // namespace ravd::sim

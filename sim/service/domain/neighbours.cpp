#include "sim/service/domain/neighbours.h"

#include <algorithm>

namespace ravd::sim {
namespace {

constexpr int highest_priority = 255;
constexpr int priority_step = 10;

struct neighbour {
    std::size_t radio = 0;
    double dbm = 0;
};

// The loudest first.
std::vector<neighbour> heard_by(const interference& costs, std::size_t radio, double weakest) {
    std::vector<neighbour> list;
    for (const interference::link& to : costs.links(radio)) {
        const double dbm = std::max(to.heard, to.hearing);
        if (dbm >= weakest) list.push_back({to.other, dbm});
    }
    std::stable_sort(list.begin(), list.end(), [](const neighbour& a, const neighbour& b) { return a.dbm > b.dbm; });
    return list;
}

void append(json_object* array, const domain_radio& radio, int channel, std::size_t position) {
    json_ptr entry = new_json_object();
    json_put(entry.get(), "neighbour-mac", radio.ap_mac);
    json_put(entry.get(), "channel", channel);
    json_put(entry.get(), "priority", std::max(0, highest_priority - priority_step * static_cast<int>(position)));
    json_ptr vaps = new_json_array();
    for (const vap_view& vap : radio.vaps) {
        json_ptr one = new_json_object();
        json_put(one.get(), "ssid", vap.ssid);
        json_put(one.get(), "mac", vap.mac);
        json_append(vaps.get(), std::move(one));
    }
    json_put(entry.get(), "vaps", std::move(vaps));
    json_append(array, std::move(entry));
}

}  // namespace

json_ptr neighbour_lists(const interference& costs, const assignment& plan, const std::string& ap_mac,
                         const neighbour_limits& limits) {
    const std::vector<domain_radio>& radios = costs.model().radios;
    json_ptr array = new_json_array();
    for (std::size_t me = 0; me < radios.size(); ++me) {
        if (radios[me].ap_mac != ap_mac) continue;
        std::vector<neighbour> list = heard_by(costs, me, limits.weakest);
        list.resize(std::min(list.size(), limits.most));
        for (std::size_t i = 0; i < list.size(); ++i) {
            const domain_radio& other = radios[list[i].radio];
            append(array.get(), other, setup_of(other, plan[list[i].radio]).channel, i);
        }
    }
    return array;
}

std::vector<overloaded_radio> overloaded_radios(const interference& costs, const overload_limits& limits) {
    const std::vector<domain_radio>& radios = costs.model().radios;
    std::vector<overloaded_radio> out;
    for (std::size_t me = 0; me < radios.size(); ++me) {
        if (!radios[me].steers) continue;
        const std::vector<neighbour> near = heard_by(costs, me, limits.reach);
        if (near.empty()) continue;
        std::size_t sum = 0;
        for (const neighbour& one : near)
            sum += radios[one.radio].clients;
        const double mean = static_cast<double>(sum) / static_cast<double>(near.size());
        const auto mine = static_cast<double>(radios[me].clients);
        if (mine <= limits.factor * mean || mine < mean + static_cast<double>(limits.least)) continue;
        // Evened out among all of them, rounded down: those who leave go somewhere.
        const auto parts = static_cast<double>(near.size() + 1);
        const int leave = static_cast<int>(mine - (mine + static_cast<double>(sum)) / parts);
        if (leave > 0) out.push_back({me, radios[me].clients, mean, leave});
    }
    return out;
}

json_ptr relief_list(const interference& costs, const overloaded_radio& from, const overload_limits& limits) {
    const std::vector<domain_radio>& radios = costs.model().radios;
    json_ptr array = new_json_array();
    std::size_t position = 0;
    for (const neighbour& one : heard_by(costs, from.radio, limits.reach)) {
        const domain_radio& other = radios[one.radio];
        if (static_cast<double>(other.clients) > from.neighbours_mean) continue;
        append(array.get(), other, other.now.channel, position++);
    }
    return array;
}

}  // namespace ravd::sim

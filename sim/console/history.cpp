#include "sim/console/history.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace ravd::sim {
namespace {

constexpr std::size_t client_limit = 1000;  // of one agent
constexpr std::size_t all_clients_limit = 20000;
constexpr int first_channel_of_5_ghz = 36;

bool in_band(int channel, int band) { return band == 0 || (channel < first_channel_of_5_ghz) == (band == 2); }

}  // namespace

void load_history::add(unsigned agent, const scan_report& report) {
    row fresh = {report.time_ms, agent, {}};
    fresh.cells.reserve(report.load.size());
    for (const channel_load& one : report.load)
        fresh.cells.push_back({static_cast<std::int16_t>(one.channel), static_cast<float>(one.load)});
    // The clock of the machine may have been set back.
    if (!rows_.empty()) fresh.time_ms = std::max(fresh.time_ms, rows_.back().time_ms);
    rows_.push_back(std::move(fresh));
    if (rows_.size() > limit_) rows_.pop_front();
}

load_history::grid load_history::over(unsigned agent, int band, std::int64_t from_ms, std::int64_t to_ms,
                                      std::size_t slots) const {
    grid result = {from_ms, to_ms, {}, {}};
    const auto begin = std::lower_bound(rows_.begin(), rows_.end(), from_ms,
                                        [](const row& one, std::int64_t time) { return one.time_ms < time; });
    const auto wanted = [&](const row& one) { return agent == 0 || one.agent == agent; };
    std::set<int> channels;
    for (auto it = begin; it != rows_.end() && it->time_ms <= to_ms; ++it)
        if (wanted(*it))
            for (const cell& one : it->cells)
                if (in_band(one.channel, band)) channels.insert(one.channel);
    result.channels.assign(channels.begin(), channels.end());
    const std::size_t width = result.channels.size();
    std::vector<std::vector<unsigned>> counts(slots, std::vector<unsigned>(width));
    result.load.assign(slots, std::vector<double>(width));
    const double length = static_cast<double>(std::max<std::int64_t>(to_ms - from_ms, 1)) / static_cast<double>(slots);
    for (auto it = begin; it != rows_.end() && it->time_ms <= to_ms; ++it) {
        if (!wanted(*it)) continue;
        const auto at = static_cast<std::size_t>(static_cast<double>(it->time_ms - from_ms) / length);
        const std::size_t slot = std::min(at, slots - 1);
        for (const cell& one : it->cells) {
            const auto found = std::lower_bound(result.channels.begin(), result.channels.end(), one.channel);
            if (found == result.channels.end() || *found != one.channel) continue;
            const auto column = static_cast<std::size_t>(found - result.channels.begin());
            result.load[slot][column] += static_cast<double>(one.load);
            ++counts[slot][column];
        }
    }
    for (std::size_t slot = 0; slot < slots; ++slot)
        for (std::size_t column = 0; column < width; ++column) {
            double& load = result.load[slot][column];
            load = counts[slot][column] == 0 ? -1 : load / counts[slot][column];
        }
    return result;
}

void client_history::add(unsigned agent, const std::vector<radio_view>& radios, std::int64_t time_ms) {
    for (const radio_view& radio : radios) {
        for (const station_view& station : radio.stations) {
            if (station.rssi == 0 || !radio.lists_stations) continue;
            auto& clients = agents_[agent];
            if (clients.count(station.mac) == 0) {
                if (clients.size() >= client_limit) continue;
                ++clients_;
            }
            client& one = clients[station.mac];
            one.ssid = station.ssid;
            one.radio = radio.id;
            one.points.push_back({time_ms, dbm(station.rssi)});
            if (one.points.size() > limit_) one.points.pop_front();
        }
    }
    // The agents that connected first are the ones that are gone.
    while (clients_ > all_clients_limit && agents_.size() > 1) {
        const auto oldest = agents_.begin()->first == agent ? std::next(agents_.begin()) : agents_.begin();
        clients_ -= oldest->second.size();
        agents_.erase(oldest);
    }
}

const std::map<std::string, client_history::client>* client_history::of(unsigned agent) const {
    const auto found = agents_.find(agent);
    return found == agents_.end() ? nullptr : &found->second;
}

}  // namespace ravd::sim

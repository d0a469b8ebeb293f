#include "sim/service/domain/model.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "sim/common/mac_text.h"
#include "sim/service/domain/blocks.h"
#include "sim/service/planner.h"

namespace ravd::sim {
namespace {

constexpr int first_mac_of_radio = 1;  // behind the base address and the radio's offset
constexpr int macs_of_radio = 8;
constexpr int max_radios = 16;
constexpr int max_channel = 233;

// 0 when the text is no MAC address, which no radio has.
std::uint64_t address_of(const std::string& text) {
    std::uint64_t value = 0;
    if (const auto octets = parse_mac(text))
        for (const std::uint8_t octet : *octets)
            value = value << 8 | octet;
    return value;
}

// What stands in a description may be anything.
bool usable(const radio_view& view) {
    const auto power = [](int dbm) { return dbm >= -50 && dbm <= 60; };
    return view.active && (view.band == 2 || view.band == 5) && view.id >= 0 && view.id < max_radios &&
           view.channel > 0 && view.channel <= max_channel && band_of(view.channel) == view.band && power(view.power) &&
           power(view.power_min) && power(view.power_max);
}

class builder {
  public:
    builder(const std::vector<access_point_view>& access_points, const model_limits& limits)
        : access_points_(access_points), limits_(limits) {}

    plan_model build();

  private:
    void add_radio(const access_point_view& ap, const radio_view& view);
    void name_addresses(std::size_t index, const access_point_view& ap, const radio_view& view);
    void read_report(const access_point_view& ap);
    void fill_in_other_direction();
    void set_choices(std::size_t index);
    void set_power(std::size_t index);

    const std::vector<access_point_view>& access_points_;
    const model_limits& limits_;
    plan_model model_;
    std::vector<const radio_view*> views_;                     // of the model's radios
    std::unordered_map<std::uint64_t, std::size_t> radio_of_;  // by BSSID
    std::vector<std::map<std::size_t, double>> hears_;         // dBm, by the index of the listener and of whom it hears
};

void builder::name_addresses(std::size_t index, const access_point_view& ap, const radio_view& view) {
    if (const std::uint64_t base = address_of(ap.ap_mac)) {
        const std::uint64_t first = base + first_mac_of_radio + static_cast<std::uint64_t>(view.id) * macs_of_radio;
        for (std::uint64_t i = 0; i < macs_of_radio; ++i)
            radio_of_.emplace(first + i, index);
    }
}

void builder::add_radio(const access_point_view& ap, const radio_view& view) {
    domain_radio radio;
    radio.ap_mac = ap.ap_mac;
    radio.id = view.id;
    radio.band = view.band;
    radio.now = {view.channel, view.bandwidth, view.primary, view.power};
    radio.clients = view.stations.size();
    radio.steers = !view.locked_for_80211v;
    radio.vaps = view.vaps;
    if (view.locked_for_dca)
        radio.held = "channel locked";
    else if (!ap.reported)
        radio.held = "no report";
    name_addresses(model_.radios.size(), ap, view);
    model_.radios.push_back(std::move(radio));
    views_.push_back(&view);
}

void builder::read_report(const access_point_view& ap) {
    struct signal {
        double sum = 0;
        int rounds = 0;
        int in_round = 0;  // the loudest of this one
        int round = -1;
        reported_bss last;
        void close() {
            if (round >= 0) sum += in_round, ++rounds;
        }
    };
    // Own radios by index; foreign BSSs by address, behind all indices.
    std::map<std::uint64_t, signal> signals;
    std::vector<reported_bss> heard = ap.heard;
    std::stable_sort(heard.begin(), heard.end(),
                     [](const reported_bss& a, const reported_bss& b) { return a.round < b.round; });
    for (const reported_bss& bss : heard) {
        const std::uint64_t address = address_of(bss.bssid);
        if (address == 0 || bss.channel <= 0 || bss.channel > max_channel) continue;
        const auto own = radio_of_.find(address);
        constexpr std::uint64_t foreign_mark = std::uint64_t{1} << 48;
        signal& s = signals[own == radio_of_.end() ? foreign_mark | address : own->second];
        if (s.round != bss.round) {
            s.close();
            s.round = bss.round;
            s.in_round = dbm(bss.rssi);
        }
        s.in_round = std::max(s.in_round, dbm(bss.rssi));
        s.last = bss;
    }
    for (std::size_t me = 0; me < model_.radios.size(); ++me) {
        domain_radio& radio = model_.radios[me];
        if (radio.ap_mac != ap.ap_mac) continue;
        for (auto& [key, s] : signals) {
            signal whole = s;
            whole.close();
            const double mean = whole.sum / whole.rounds;
            if (key < model_.radios.size()) {
                const auto index = static_cast<std::size_t>(key);
                const domain_radio& other = model_.radios[index];
                if (other.ap_mac != radio.ap_mac && other.band == radio.band) hears_[me][index] = mean;
            } else if (band_of(s.last.channel) == radio.band) {
                radio.foreign.push_back({s.last.channel, s.last.bandwidth, s.last.primary, mean});
            }
        }
    }
}

void builder::fill_in_other_direction() {
    for (std::size_t me = 0; me < hears_.size(); ++me) {
        for (const auto& [other, level] : hears_[me]) {
            const int difference = model_.radios[me].now.power - model_.radios[other].now.power;
            hears_[other].emplace(me, level + difference);
        }
    }
}

void builder::set_choices(std::size_t index) {
    domain_radio& radio = model_.radios[index];
    radio.choices.push_back({radio.now, price_of(radio.now, limits_)});
    if (!radio.held.empty()) return;
    const auto covers = [](const radio_setup& block) {
        const span s = channel_span(block.channel, block.bandwidth, block.primary);
        return std::pair{s.low, s.high};
    };
    for (const block_choice& choice : blocks_of(*views_[index], radio.foreign, limits_)) {
        // Another control channel of the same block brings nothing.
        if (covers(choice.block) != covers(radio.now)) radio.choices.push_back(choice);
    }
    const std::vector<int>& available = views_[index]->available;
    const bool allowed = std::find(available.begin(), available.end(), radio.now.channel) != available.end();
    radio.must_move = !allowed && radio.choices.size() > 1;
}

// As low as the clients and the coverage allow, and as high as a client needs.
void builder::set_power(std::size_t index) {
    domain_radio& radio = model_.radios[index];
    const radio_view& view = *views_[index];
    radio.power = radio.now.power;
    if (view.locked_for_tpc || limits_.keep_power) return;
    const int low = std::min(view.power_min, view.power_max);
    const int high = std::max(view.power_min, view.power_max);
    double loudest = -1000;
    for (const auto& row : hears_) {
        const auto at = row.find(index);
        if (at != row.end()) loudest = std::max(loudest, at->second);
    }
    // What may go, in dB; nothing where no other radio would take over.
    int spare = loudest < limits_.coverage ? 0 : static_cast<int>(std::floor(loudest)) - limits_.coverage;
    for (const station_view& client : view.stations)
        if (client.rssi != 0) spare = std::min(spare, dbm(client.rssi) - limits_.min_signal);
    radio.power = std::clamp(radio.now.power - spare, low, high);
}

plan_model builder::build() {
    for (const access_point_view& ap : access_points_) {
        if (!ap.reported) model_.silent.push_back(ap.ap_mac);
        for (const radio_view& view : ap.radios)
            if (usable(view)) add_radio(ap, view);
    }
    // What a VAP says of itself counts before what its address would make of it.
    for (std::size_t i = 0; i < views_.size(); ++i)
        for (const vap_view& vap : views_[i]->vaps)
            if (const std::uint64_t address = address_of(vap.mac)) radio_of_[address] = i;
    hears_.resize(model_.radios.size());
    for (const access_point_view& ap : access_points_)
        if (ap.reported) read_report(ap);
    fill_in_other_direction();
    for (std::size_t i = 0; i < hears_.size(); ++i) {
        for (const auto& [other, level] : hears_[i])
            model_.radios[i].hears.push_back({other, level});
        set_choices(i);
        set_power(i);
    }
    return std::move(model_);
}

}  // namespace

bool same_block(const radio_setup& a, const radio_setup& b) {
    return a.channel == b.channel && a.bandwidth == b.bandwidth && (a.bandwidth != 40 || a.primary == b.primary);
}

bool operator==(const radio_setup& a, const radio_setup& b) { return same_block(a, b) && a.power == b.power; }

std::string text_of(const radio_setup& setup) {
    return std::to_string(setup.channel) + " at " + std::to_string(setup.bandwidth) + " MHz" +
           (setup.bandwidth == 40 ? " " + setup.primary : "") + ", " + std::to_string(setup.power) + " dBm";
}

plan_model build_model(const std::vector<access_point_view>& access_points, const model_limits& limits) {
    return builder(access_points, limits).build();
}

}  // namespace ravd::sim

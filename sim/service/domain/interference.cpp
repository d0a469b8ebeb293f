#include "sim/service/domain/interference.h"

#include <algorithm>
#include <map>
#include <utility>

#include "sim/service/planner.h"

namespace ravd::sim {
namespace {

span span_of(const radio_setup& block) { return channel_span(block.channel, block.bandwidth, block.primary); }

}  // namespace

interference::interference(const plan_model& model) : model_(model), radios_(model.radios.size()) {
    std::map<std::pair<int, int>, std::size_t> numbers;
    std::vector<span> spans;
    for (std::size_t i = 0; i < radios_.size(); ++i) {
        const domain_radio& radio = model.radios[i];
        compiled& out = radios_[i];
        out.power = radio.now.power;
        for (const block_choice& choice : radio.choices) {
            const span s = span_of(choice.block);
            const auto [at, added] = numbers.emplace(std::pair{s.low, s.high}, spans.size());
            if (added) spans.push_back(s);
            out.spans.push_back(at->second);
            double sum = 0;
            for (const foreign_signal& signal : radio.foreign)
                sum +=
                    strength(signal.dbm) * overlap(s, channel_span(signal.channel, signal.bandwidth, signal.primary));
            out.foreign.push_back(sum);
            out.fixed.push_back(sum + choice.price);
        }
    }
    span_count_ = spans.size();
    overlaps_.reserve(span_count_ * span_count_);
    for (const span& a : spans)
        for (const span& b : spans)
            overlaps_.push_back(overlap(a, b));
    add_links();
}

void interference::add_links() {
    std::vector<std::map<std::size_t, link>> found(radios_.size());
    for (std::size_t i = 0; i < radios_.size(); ++i) {
        for (const own_signal& signal : model_.radios[i].hears) {
            if (signal.radio >= radios_.size() || signal.radio == i) continue;
            found[i][signal.radio].heard = signal.dbm;
            found[signal.radio][i].hearing = signal.dbm;
        }
    }
    for (std::size_t i = 0; i < radios_.size(); ++i) {
        for (auto& [other, entry] : found[i]) {
            entry.other = other;
            radios_[i].links.push_back(entry);
        }
    }
}

assignment interference::present() const {
    assignment all;
    for (const compiled& radio : radios_)
        all.push_back({0, radio.power});
    return all;
}

double interference::strength_of(std::size_t radio, const link& to, const assignment& all) const {
    return strength(to.heard + all[to.other].power - radios_[to.other].power) +
           strength(to.hearing + all[radio].power - radios_[radio].power);
}

double interference::share(const assignment& all, std::size_t index) const {
    double sum = fixed(index, all[index].block);
    for (const link& to : radios_[index].links) {
        const double part = overlap_of(index, all[index].block, to.other, all[to.other].block);
        if (part > 0) sum += part * strength_of(index, to, all);
    }
    return sum;
}

domain_cost interference::cost(const assignment& all) const {
    domain_cost sum;
    for (std::size_t i = 0; i < radios_.size(); ++i) {
        const std::size_t block = all[i].block;
        sum.foreign += radios_[i].foreign[block];
        sum.prices += radios_[i].fixed[block] - radios_[i].foreign[block];
        for (const link& to : radios_[i].links)
            if (to.other > i) sum.own += overlap_of(i, block, to.other, all[to.other].block) * strength_of(i, to, all);
    }
    return sum;
}

radio_setup setup_of(const domain_radio& radio, const radio_choice& choice) {
    radio_setup setup = radio.choices[choice.block].block;
    setup.power = choice.power;
    return setup;
}

}  // namespace ravd::sim

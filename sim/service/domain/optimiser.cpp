#include "sim/service/domain/optimiser.h"

#include <algorithm>
#include <utility>

#include "sim/service/domain/descent.h"

namespace ravd::sim {
namespace {

constexpr double tiny = 1e-9;
constexpr std::size_t many_radios = 100;  // that hear each other: from here on fewer starts are worth their time

using indices = std::vector<std::size_t>;

class plan_search {
  public:
    plan_search(const interference& costs, const search_limits& limits)
        : costs_(costs),
          limits_(limits),
          base_(forced_changes(costs)),
          present_(costs.present()),
          random_(limits.seed) {}

    assignment run();

  private:
    const domain_radio& radio(std::size_t i) const { return costs_.model().radios[i]; }
    double total(const assignment& plan) const { return costs_.cost(plan).total(); }
    std::vector<indices> separate_parts() const;
    assignment greedy_start(assignment plan, const indices& part);
    void search_part(assignment& plan, const indices& part);
    bool give_up_block(assignment& plan, std::size_t i) const;
    assignment prune(assignment plan);
    assignment grow();
    std::size_t changes(const assignment& plan) const;

    const interference& costs_;
    const search_limits& limits_;
    const assignment base_;  // with the forced changes and no other
    const assignment present_;
    std::mt19937 random_;
};

// Radios that hear each other, over any number of others.
std::vector<indices> plan_search::separate_parts() const {
    std::vector<indices> parts;
    std::vector<bool> seen(costs_.size());
    for (std::size_t i = 0; i < costs_.size(); ++i) {
        if (seen[i]) continue;
        indices part = {i};
        seen[i] = true;
        for (std::size_t at = 0; at < part.size(); ++at) {
            for (const interference::link& to : costs_.links(part[at])) {
                if (seen[to.other]) continue;
                seen[to.other] = true;
                part.push_back(to.other);
            }
        }
        std::sort(part.begin(), part.end());
        parts.push_back(std::move(part));
    }
    return parts;
}

// The radios with the most interference first, each to what costs least beside those before it.
assignment plan_search::greedy_start(assignment plan, const indices& part) {
    indices order = part;
    std::vector<double> weight(costs_.size());
    for (const std::size_t i : part)
        for (const interference::link& to : costs_.links(i))
            weight[i] += costs_.strength_of(i, to, plan);
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return weight[a] > weight[b]; });
    std::vector<bool> placed(costs_.size());
    for (const std::size_t i : order) {
        double least = 0;
        for (std::size_t block = radio(i).must_move ? 1 : 0, first = block; block < costs_.choices(i); ++block) {
            double sum = costs_.fixed(i, block);
            for (const interference::link& to : costs_.links(i))
                if (placed[to.other])
                    sum +=
                        costs_.strength_of(i, to, plan) * costs_.overlap_of(i, block, to.other, plan[to.other].block);
            if (block == first || sum < least) {
                least = sum;
                plan[i].block = block;
            }
        }
        placed[i] = true;
    }
    return plan;
}

void plan_search::search_part(assignment& plan, const indices& part) {
    const assignment before = plan;
    double least = total(plan);
    const std::size_t starts = part.size() < many_radios ? 8 : 3;  // as it is, greedy, at random
    const auto steps = static_cast<std::size_t>(limits_.effort * static_cast<double>(2000 + 20 * part.size()));
    for (std::size_t start = 0; start < starts; ++start) {
        assignment from = before;
        if (start == 1) from = greedy_start(before, part);
        if (start > 1)
            for (const std::size_t i : part)
                if (costs_.choices(i) > 1) from[i].block = 1 + random_() % (costs_.choices(i) - 1);
        block_search search(costs_, from, part);
        search.descend();
        search.wander(steps, random_);
        const double cost = total(search.now());
        if (cost >= least - tiny) continue;
        least = cost;
        plan = search.now();
    }
}

std::size_t plan_search::changes(const assignment& plan) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < plan.size(); ++i)
        count += plan[i] != present_[i] ? 1 : 0;
    return count;
}

// Another block that brings too little beside the power's change is not worth it.
bool plan_search::give_up_block(assignment& plan, std::size_t i) const {
    if (plan[i].block == base_[i].block || plan[i].power == base_[i].power) return false;
    const double with = costs_.share(plan, i);
    assignment other = plan;
    other[i].block = base_[i].block;
    if (costs_.share(other, i) - with >= limits_.min_gain) return false;
    plan[i].block = base_[i].block;
    return true;
}

// Takes back what brings least until the limits hold.
assignment plan_search::prune(assignment plan) {
    for (;;) {
        std::size_t worst = plan.size();
        double least = 0;
        indices movable;
        for (std::size_t i = 0; i < plan.size(); ++i) {
            if (plan[i] == base_[i]) continue;
            if (costs_.choices(i) > 1) movable.push_back(i);
            const double with = costs_.share(plan, i);
            const radio_choice kept = std::exchange(plan[i], base_[i]);
            const double gain = costs_.share(plan, i) - with;
            plan[i] = kept;
            if (worst == plan.size() || gain < least) {
                worst = i;
                least = gain;
            }
        }
        if (worst == plan.size()) return plan;
        const bool too_many = limits_.max_changes > 0 && changes(plan) > limits_.max_changes;
        if (!too_many && least >= limits_.min_gain - tiny) {
            bool gave_up = false;
            for (std::size_t i = 0; i < plan.size(); ++i)
                gave_up = give_up_block(plan, i) || gave_up;
            if (!gave_up) return plan;
            continue;
        }
        plan[worst] = base_[worst];
        movable.erase(std::remove(movable.begin(), movable.end(), worst), movable.end());
        block_search search(costs_, plan, movable);
        search.descend();
        plan = search.now();
    }
}

// The other way round: from the present setting the change that brings most, as long as it brings enough.
assignment plan_search::grow() {
    assignment plan = base_;
    while (limits_.max_changes == 0 || changes(plan) < limits_.max_changes) {
        std::size_t who = plan.size();
        radio_choice what;
        double most = 0;
        for (std::size_t i = 0; i < plan.size(); ++i) {
            if (plan[i] != base_[i]) continue;
            const double now = costs_.share(plan, i);
            for (std::size_t block = 0; block < costs_.choices(i); ++block) {
                if (block == 0 && radio(i).must_move) continue;
                plan[i] = {block, std::min(radio(i).power, base_[i].power)};
                const double gain = now - costs_.share(plan, i);
                if (gain >= limits_.min_gain && gain > most + tiny) {
                    most = gain;
                    who = i;
                    what = plan[i];
                }
            }
            plan[i] = base_[i];
        }
        if (who == plan.size()) break;
        plan[who] = what;
    }
    return plan;
}

assignment plan_search::run() {
    assignment full = base_;
    for (std::size_t i = 0; i < full.size(); ++i)
        full[i].power = std::min(full[i].power, radio(i).power);
    for (const indices& part : separate_parts())
        search_part(full, part);
    assignment best = prune(full);
    if (limits_.max_changes > 0 || limits_.min_gain > 0) {
        assignment other = prune(grow());
        if (total(other) < total(best) - tiny) best = std::move(other);
    }
    return total(best) < total(base_) ? best : base_;
}

}  // namespace

assignment forced_changes(const interference& costs) {
    assignment plan = costs.present();
    indices must;
    for (std::size_t i = 0; i < plan.size(); ++i) {
        const domain_radio& radio = costs.model().radios[i];
        plan[i].power = std::max(plan[i].power, radio.power);
        if (radio.must_move) must.push_back(i);
    }
    for (const std::size_t i : must) {
        double least = 0;
        radio_choice best = plan[i];
        for (std::size_t block = 1; block < costs.choices(i); ++block) {
            plan[i].block = block;
            const double cost = costs.share(plan, i);
            if (best.block != 0 && cost >= least) continue;
            least = cost;
            best.block = block;
        }
        plan[i] = best;
    }
    return plan;
}

std::vector<double> gains(const interference& costs, const assignment& plan) {
    std::vector<double> out(plan.size());
    const assignment present = costs.present();
    assignment other = plan;
    for (std::size_t i = 0; i < plan.size(); ++i) {
        if (plan[i] == present[i]) continue;
        other[i] = present[i];
        out[i] = costs.share(other, i) - costs.share(plan, i);
        other[i] = plan[i];
    }
    return out;
}

assignment find_plan(const interference& costs, const search_limits& limits) {
    return plan_search(costs, limits).run();
}

}  // namespace ravd::sim

#include "sim/service/domain/descent.h"

#include <utility>

namespace ravd::sim {
namespace {

constexpr double tiny = 1e-9;  // below it a difference is rounding
constexpr double forbidden = 1e6;

}  // namespace

block_search::block_search(const interference& costs, assignment start, std::vector<std::size_t> movable)
    : costs_(costs),
      now_(std::move(start)),
      movable_(std::move(movable)),
      table_(costs.size()),
      strengths_(costs.size()) {
    for (std::size_t i = 0; i < costs_.size(); ++i) {
        for (const interference::link& to : costs_.links(i))
            strengths_[i].push_back(costs_.strength_of(i, to, now_));
        for (std::size_t block = 0; block < costs_.choices(i); ++block) {
            double sum = costs_.fixed(i, block);
            for (std::size_t l = 0; l < strengths_[i].size(); ++l) {
                const std::size_t other = costs_.links(i)[l].other;
                sum += strengths_[i][l] * costs_.overlap_of(i, block, other, now_[other].block);
            }
            table_[i].push_back(sum);
        }
        if (costs_.model().radios[i].must_move) table_[i][0] += forbidden;
    }
}

void block_search::move(std::size_t radio, std::size_t block) {
    const std::size_t before = std::exchange(now_[radio].block, block);
    if (before == block) return;
    for (std::size_t l = 0; l < strengths_[radio].size(); ++l) {
        const double strength = strengths_[radio][l];
        if (strength <= 0) continue;
        const std::size_t other = costs_.links(radio)[l].other;
        std::vector<double>& row = table_[other];
        for (std::size_t k = 0; k < row.size(); ++k)
            row[k] +=
                strength * (costs_.overlap_of(other, k, radio, block) - costs_.overlap_of(other, k, radio, before));
    }
}

block_search::step block_search::best_step() const {
    step best;
    for (const std::size_t radio : movable_)
        for (std::size_t block = 0; block < table_[radio].size(); ++block)
            if (const double d = delta(radio, block); d < best.delta - tiny) best = {radio, block, d, true};
    return best;
}

void block_search::descend() {
    for (step next = best_step(); next.found; next = best_step())
        move(next.radio, next.block);
}

void block_search::wander(std::size_t steps, std::mt19937& random) {
    std::vector<std::vector<std::size_t>> barred(costs_.size());  // until which step, by choice
    for (const std::size_t radio : movable_)
        barred[radio].resize(costs_.choices(radio));
    assignment best = now_;
    double above_best = 0;
    for (std::size_t at = 1; at <= steps; ++at) {
        step next;
        std::size_t equal = 0;
        for (const std::size_t radio : movable_) {
            for (std::size_t block = 0; block < table_[radio].size(); ++block) {
                if (block == now_[radio].block) continue;
                const double d = delta(radio, block);
                // What beats everything so far is welcome in any case.
                if (barred[radio][block] >= at && above_best + d > -tiny) continue;
                if (next.found && d > next.delta + tiny) continue;
                equal = next.found && d > next.delta - tiny ? equal + 1 : 1;
                if (equal > 1 && random() % equal != 0) continue;
                next = {radio, block, d, true};
            }
        }
        if (!next.found) break;
        barred[next.radio][now_[next.radio].block] = at + 3 + random() % (movable_.size() / 4 + 10);
        move(next.radio, next.block);
        above_best += next.delta;
        if (above_best < -tiny) {
            above_best = 0;
            best = now_;
        }
    }
    for (std::size_t i = 0; i < now_.size(); ++i)
        move(i, best[i].block);
}

}  // namespace ravd::sim

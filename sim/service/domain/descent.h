// The search for blocks when all powers are settled: best moves one after the other, with a memory against going back.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

#include "sim/service/domain/interference.h"

namespace ravd::sim {

// Keeps for every radio what each of its choices would cost while the others stay, so that a move touches only those
// that hear the mover.
class block_search {
  public:
    // `movable`: radios whose block may change. `costs` outlives the search.
    block_search(const interference& costs, assignment start, std::vector<std::size_t> movable);

    const assignment& now() const { return now_; }
    // Best moves until none lowers the cost.
    void descend();
    // `steps` best moves, also upwards, none that was undone lately; ends at the cheapest setting it passed.
    void wander(std::size_t steps, std::mt19937& random);
    void move(std::size_t radio, std::size_t block);

  private:
    struct step {
        std::size_t radio = 0;
        std::size_t block = 0;
        double delta = 0;
        bool found = false;
    };
    double delta(std::size_t radio, std::size_t block) const {
        return table_[radio][block] - table_[radio][now_[radio].block];
    }
    step best_step() const;

    const interference& costs_;
    assignment now_;
    std::vector<std::size_t> movable_;
    std::vector<std::vector<double>> table_;      // cost share of the radio, by choice
    std::vector<std::vector<double>> strengths_;  // of the radio's links, at the settled powers
};

}  // namespace ravd::sim

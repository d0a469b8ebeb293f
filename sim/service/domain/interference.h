// What a setting of all radios of a domain costs: the sum, over everything that a radio hears, of its strength times
// the overlap of both blocks, and the prices of the blocks.
#pragma once

#include <cstddef>
#include <vector>

#include "sim/service/domain/model.h"

namespace ravd::sim {

// One radio of an assignment: which of its choices, and its power in dBm.
struct radio_choice {
    std::size_t block = 0;
    int power = 0;
};
inline bool operator==(const radio_choice& a, const radio_choice& b) {
    return a.block == b.block && a.power == b.power;
}
inline bool operator!=(const radio_choice& a, const radio_choice& b) { return !(a == b); }
using assignment = std::vector<radio_choice>;  // by index of the radio

struct domain_cost {
    double own = 0;      // strength times overlap, over pairs of radios of the domain, each direction
    double foreign = 0;  // over what else is heard
    double prices = 0;
    double interference() const { return own + foreign; }
    double total() const { return own + foreign + prices; }
};

// The model in the form that a search needs. Keeps a reference to it.
class interference {
  public:
    explicit interference(const plan_model& model);

    std::size_t size() const { return radios_.size(); }
    std::size_t choices(std::size_t radio) const { return radios_[radio].fixed.size(); }
    const plan_model& model() const { return model_; }

    // As the radios are now.
    assignment present() const;
    domain_cost cost(const assignment& all) const;
    // What radio `index` alone puts into the total: both directions of all its pairs, foreign signals and its price.
    double share(const assignment& all, std::size_t index) const;

    // Another radio that hears this one or is heard by it.
    struct link {
        std::size_t other = 0;
        double heard = -1000;    // dBm: the other, at this one, at the other's present power
        double hearing = -1000;  // this one, at the other
    };
    const std::vector<link>& links(std::size_t radio) const { return radios_[radio].links; }
    // Strength in both directions at these powers: what full overlap of the two would cost.
    double strength_of(std::size_t radio, const link& to, const assignment& all) const;
    double overlap_of(std::size_t radio, std::size_t block, std::size_t other, std::size_t other_block) const {
        return overlaps_[radios_[radio].spans[block] * span_count_ + radios_[other].spans[other_block]];
    }
    // Foreign interference and price of a choice.
    double fixed(std::size_t radio, std::size_t block) const { return radios_[radio].fixed[block]; }

  private:
    struct compiled {
        std::vector<std::size_t> spans;  // of the choices, as indices
        std::vector<double> foreign;     // of the choices
        std::vector<double> fixed;       // the same with the price
        std::vector<link> links;
        int power = 0;  // at present
    };
    void add_links();

    const plan_model& model_;
    std::vector<compiled> radios_;
    std::size_t span_count_ = 0;
    std::vector<double> overlaps_;  // of two spans
};

// The settings that an assignment stands for.
radio_setup setup_of(const domain_radio& radio, const radio_choice& choice);

}  // namespace ravd::sim

// A plan for a domain as people and programs look at it: which radios change, why, in which order, and what it costs.
#pragma once

#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/domain/optimiser.h"

namespace ravd::sim {

struct plan_options {
    model_limits limits;
    search_limits search;
    std::string channels;    // of the scans, as in "1 6 11"; empty: every channel
    int scan_timeout = 180;  // seconds
    int apply_timeout = 90;  // seconds, for each stage
    int settle = 2;          // seconds between two stages
    int tolerance = 10;      // percent: by so much the measured cost may be above the lesser hope
    bool verify = true;      // scan when all is applied, and undo what made it worse
};

struct radio_change {
    std::size_t radio = 0;  // in the model
    radio_setup from;
    radio_setup to;
    double gain = 0;  // by how much the total rises when this change alone is taken back
    std::string reason;
};

struct proposal {
    plan_model model;
    assignment plan;
    domain_cost before;
    domain_cost after;
    std::vector<radio_change> changes;
    std::vector<std::vector<std::string>> stages;  // addresses of the access points that change together
};

proposal make_proposal(const std::vector<access_point_view>& access_points, const plan_options& options);

// Who has to keep apart: two access points of which one hears the other, on whatever radio.
class hearing_graph {
  public:
    explicit hearing_graph(const plan_model& model);
    bool near(const std::string& a, const std::string& b) const;

  private:
    std::vector<std::pair<std::string, std::string>> pairs_;  // sorted, smaller address first
};

// Into as few stages as a greedy choice finds, no two of one stage near each other.
std::vector<std::vector<std::string>> stages_of(const hearing_graph& graph, const std::vector<std::string>& ap_macs);

// Tables of changes, sums and stages; no line end at the end.
std::string proposal_text(const proposal& p);
json_ptr proposal_json(const proposal& p);
json_ptr cost_json(const domain_cost& cost);

}  // namespace ravd::sim

// A plan of the domain from its proposal to its end: scan, propose, apply in stages, verify by new scans, undo.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/service/domain/domain_world.h"
#include "sim/service/domain/proposal.h"
#include "sim/service/domain/rollout.h"

namespace ravd::sim {

class plan_session {
  public:
    enum class state {
        idle,      // nothing was proposed
        scanning,  // for a proposal
        proposed,
        applying,
        checking,  // applied; new scans are on their way
        applied,
        undoing,
        undone,
        failed,  // could not be taken back as a whole, or no access point reported
    };

    // `world` outlives the session. `say` prints a line; `changed` is called whenever state, stage or proposal are
    // others than before. Times are monotonic seconds.
    plan_session(domain_world& world, std::function<void(const std::string&)> say, std::function<void()> changed);

    // For the next proposal, or the next step of this one.
    plan_options& options() { return options_; }

    // All four: false with the reason, and nothing done, when it is not the time for it.
    // Orders a scan of every access point; proposes once all have reported.
    bool scan(double now, std::string& error);
    // From the last reports.
    bool propose(std::string& error);
    // What was proposed. Ends as applied, or, where an access point does not follow or it became worse, as undone.
    bool apply(double now, std::string& error);
    // Takes back what was applied; while it is being applied, once the present stage is over.
    bool undo(double now, std::string& error);

    state now() const { return state_; }
    // Nothing is on its way.
    bool at_rest() const;
    const std::optional<proposal>& last() const { return proposal_; }
    const std::optional<domain_cost>& measured() const { return measured_; }
    // The state in a sentence.
    std::string text() const;
    json_ptr json() const;

    // Things that happened.
    void described(const std::string& ap_mac, double now);
    void reported(const std::string& ap_mac, double now);
    void turn(double now);

  private:
    void enter(state next, const std::string& why);
    bool order_scans(double now);
    void scans_over();
    void judge(double now);
    std::string not_as_proposed() const;
    std::vector<std::vector<access_point_order>> orders(bool back) const;
    void begin_rollout(bool back, double now);
    void follow_rollout(double now);
    void send_lists(const assignment& plan);
    void begin_undo(const std::string& why, double now);

    domain_world& world_;
    std::function<void(const std::string&)> say_;
    std::function<void()> changed_;
    plan_options options_;
    state state_ = state::idle;
    std::string why_;  // the state
    std::optional<proposal> proposal_;
    std::optional<domain_cost> measured_;
    std::unique_ptr<rollout> rollout_;
    std::vector<std::string> touched_;  // access points whose settings are the plan's
    std::set<std::string> awaited_;     // reports
    double due_ = 0;                    // end of the wait for them
};

const char* word_of(plan_session::state state);

}  // namespace ravd::sim

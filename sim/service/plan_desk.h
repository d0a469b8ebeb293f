// The planner of the domain within the lab service: its access points are the service's agents.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim/service/agent.h"
#include "sim/service/domain/session.h"

namespace ravd::sim {

// The agents as the planner sees them.
class agent_world : public domain_world {
  public:
    using sender = std::function<bool(agent& to, const json_ptr& message)>;
    // `agents` outlives it.
    agent_world(std::map<unsigned, agent>& agents, sender send) : agents_(agents), send_(std::move(send)) {}

    std::vector<access_point_view> access_points() const override;
    const std::vector<radio_view>* radios_of(const std::string& ap_mac) const override;
    unsigned link_of(const std::string& ap_mac) const override;
    bool configure(const std::string& ap_mac, configuration settings) override;
    bool ask(const std::string& ap_mac) override;
    bool scan(const std::string& ap_mac, const std::string& channels) override;
    bool overload(const std::string& ap_mac, int radio, int clients, json_ptr neighbours) override;
    // One that the automatic mode is not done with; null when there is none.
    const agent* automatic() const;

  private:
    agent* find(const std::string& ap_mac) const;

    std::map<unsigned, agent>& agents_;
    sender send_;
};

class plan_desk {
  public:
    // `say` prints a line; `rested` is called when the plan has come to a rest.
    plan_desk(std::map<unsigned, agent>& agents, agent_world::sender send, std::function<void(const std::string&)> say,
              std::function<void()> rested);

    // Takes "plan"'s arguments: a step and options, which last. False with the reason in `reply`, which otherwise says
    // what is to be said of it, without a line end.
    bool run(const std::vector<argument>& args, double now, std::string& reply);

    plan_session& session() { return session_; }
    // Called, besides, at every change of state, stage or proposal.
    void watch(std::function<void()> changed) { watcher_ = std::move(changed); }

  private:
    bool status(std::string& reply);
    bool neighbours(std::string& reply);
    bool balance(bool order, std::string& reply);
    void changed();

    agent_world world_;
    std::function<void()> rested_;
    std::function<void()> watcher_;
    bool at_rest_ = true;
    plan_session session_;
};

// The steps and options, for help and completion.
const char* plan_usage();

}  // namespace ravd::sim

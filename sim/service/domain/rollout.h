// Brings settings to access points stage by stage: the next stage begins when every access point of the one before
// describes what it was ordered.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/service/domain/domain_world.h"

namespace ravd::sim {

struct radio_order {
    int radio = 0;
    bool set_block = false;
    bool set_power = false;
    radio_setup to;
};

struct access_point_order {
    std::string ap_mac;
    std::vector<radio_order> radios;
};

struct rollout_settings {
    double timeout = 90;       // seconds for each stage
    double settle = 2;         // seconds between two stages
    bool go_on_after = false;  // a stage that failed
};

class rollout {
  public:
    enum class outcome { running, done, failed };
    // `lists` gives the 802.11k list that goes with an order, or null. Times are monotonic seconds.
    rollout(domain_world& world, std::vector<std::vector<access_point_order>> stages, const rollout_settings& settings,
            std::function<json_ptr(const std::string& ap_mac)> lists, std::function<void(const std::string&)> say);

    void begin(double now);
    // A description of that access point arrived.
    void described(const std::string& ap_mac, double now);
    void turn(double now);
    // No further stage begins; ends as failed once the present one is settled or timed out.
    void stop(const std::string& why);

    outcome state() const { return state_; }
    // Counted from 1; the last one when it is over.
    std::size_t stage() const { return at_ + 1; }
    std::size_t stages() const { return stages_.size(); }
    // Every access point that an order went to, in that order.
    const std::vector<std::string>& ordered() const { return ordered_; }
    const std::string& fault() const { return fault_; }

  private:
    struct pending {
        const access_point_order* order = nullptr;
        unsigned link = 0;  // that it was sent over; 0: not sent
    };
    void begin_stage(double now);
    void send(pending& one, double now);
    bool shows(const access_point_order& order) const;
    void stage_over(double now);
    void time_out(double now);

    domain_world& world_;
    std::vector<std::vector<access_point_order>> stages_;
    rollout_settings settings_;
    std::function<json_ptr(const std::string&)> lists_;
    std::function<void(const std::string&)> say_;
    outcome state_ = outcome::running;
    std::size_t at_ = 0;
    std::vector<pending> waiting_;  // of the present stage
    std::vector<std::string> ordered_;
    std::string fault_;
    double due_ = 0;  // end of the stage; or of the pause behind it
    double ask_at_ = 0;
    bool resting_ = false;
};

// What differs from the order, as text; empty when the radios show all of it.
std::string missing_of(const access_point_order& order, const std::vector<radio_view>* radios);

}  // namespace ravd::sim

// The automatic mode for one agent: scan, choose, apply, verify, as many rounds as wanted.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/service/options.h"
#include "sim/service/orders.h"
#include "sim/service/planner.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {

class pilot {
  public:
    using sender = std::function<bool(const json_ptr& message)>;
    // `context` is the agent's and outlives the pilot. `send` delivers an order to the agent; `say` prints a line about
    // it; `judged` gets each radio's verdict as an object when a round ends. Times are monotonic seconds.
    pilot(const auto_options& options, order_context& context, sender send, std::function<void(const std::string&)> say,
          std::function<void(const json_ptr& verdict)> judged);

    // The agent's subscription was answered with success.
    void subscribed(double now);
    // An "rrm-response" arrived.
    void scanned(const std::vector<radio_view>& radios, const std::vector<reported_bss>& environment, double now);
    // A description of the radios arrived in a message of that name.
    void described(const std::string& cmd, const std::vector<radio_view>& radios, double now);
    // Looks at the clock.
    void turn(double now);

    bool done() const { return phase_ == phase::done; }
    // Every radio of every round showed what was ordered.
    bool passed() const { return passed_; }

  private:
    enum class phase { unsubscribed, scanning, applying, resting, done };

    void order_scan(double now);
    void finish_round(double now);
    void fail(const std::string& why);
    json_ptr verdict(const decision& d, const std::string& fault) const;

    auto_options options_;
    order_context& context_;
    sender send_;
    std::function<void(const std::string&)> say_;
    std::function<void(const json_ptr&)> judged_;
    phase phase_ = phase::unsubscribed;
    std::vector<decision> ordered_;
    std::vector<radio_view> last_;  // what the radios showed last
    double due_ = 0;                // end of the phase
    double ask_again_ = 0;          // while applying: when to ask for a description
    double started_ = 0;
    unsigned changes_seen_ = 0;
    unsigned round_ = 0;
    bool passed_ = true;
};

}  // namespace ravd::sim

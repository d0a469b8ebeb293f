// All agents as the log tells of them, entry by entry: the same from a running service as from a file.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "sim/console/agent_record.h"
#include "sim/service/message_log.h"

namespace ravd::sim {

// How many agents that are gone are remembered.
constexpr std::size_t gone_limit = 200;
// And how many in all; of more nothing is shown.
constexpr std::size_t agent_limit = 20000;

enum class event_kind { none, connected, closed, violation, sent };
event_kind kind_of_event(std::string_view text);
const char* name_of(event_kind kind);

// Whose BSS it is.
struct bss_owner {
    unsigned agent = 0;
    int radio = 0;
    std::string ssid;
    const radio_view* shown = nullptr;  // while the model stays as it is
};

class domain_model {
  public:
    // What an entry changed.
    struct change {
        bool agent = false;      // something worth telling
        bool important = false;  // at once
        bool report = false;     // a scan report came
        std::uint64_t of = 0;    // for a violation, the number of the message it is about
    };
    // `seq`: the entry's number in the log.
    change apply(const log_entry& entry, std::uint64_t seq);

    // A copy shares what neither changes: it is cheap to take.
    using agents_map = std::map<unsigned, std::shared_ptr<const agent_record>>;
    const agents_map& agents() const { return agents_; }
    // Back to what was.
    void restore(const agents_map& agents) {
        agents_ = agents;
        owners_known_ = false;
    }
    const agent_record* find(unsigned agent) const;
    // The BSSs of the agents that are there, by mac_number().
    const std::map<std::uint64_t, bss_owner>& owners() const;

  private:
    // To change it: its own copy, where somebody else holds it too.
    agent_record& mine(unsigned agent);
    void forget_old();

    agents_map agents_;
    mutable std::map<std::uint64_t, bss_owner> owners_;
    mutable bool owners_known_ = false;
};

}  // namespace ravd::sim

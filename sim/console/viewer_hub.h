// The browsers that look on: each is told everything at its start and from then on what changes. Agents that change all
// the time are told of twice a second.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>

#include "sim/console/frames.h"
#include "sim/console/page_state.h"
#include "sim/console/web_server.h"

namespace ravd::sim {

// What the hub shows: the running service, or a file.
class page_source {
  public:
    virtual ~page_source() = default;
    virtual page_state state() = 0;
    // The first frame of a viewer.
    virtual json_ptr hello() = 0;
    virtual link_state link(unsigned agent) = 0;
    // Behind the agents and before "ready"; null without one.
    virtual json_ptr last_frame() = 0;
    // Members of the reply to what is no query, or null with the reason in `error`.
    virtual json_ptr answer(const std::string& type, json_object* request, std::string& error) = 0;
};

class viewer_hub : public web_listener {
  public:
    viewer_hub(event_loop& loop, page_source& source) : loop_(loop), source_(source), server_(loop, *this) {}

    // Opens the port and prints where. False with the reason in `error`.
    bool start(const web_options& options, std::string& error);

    // An entry was added, and did that to its agent.
    void entry(const entry_head& head, const domain_model::change& change);
    // The agent is to be told of anew, at once or when its turn comes.
    void stale(unsigned agent, bool at_once, bool report);
    void broadcast(const json_ptr& frame);
    // Everything is another than before: all viewers begin anew.
    void reset();

    void viewer_joined(unsigned viewer) override;
    void viewer_said(unsigned viewer, std::string_view text) override;
    void viewer_drained(unsigned viewer) override;
    void viewer_left(unsigned viewer) override;
    std::string download_piece(std::uint64_t& at) override;

  private:
    struct viewer {
        std::deque<unsigned> untold;  // agents
        bool ready = false;
    };
    struct due {
        bool at_once = false;
        bool report = false;
    };
    void begin(viewer& one);
    void send(unsigned viewer, const json_ptr& frame);
    void flush();
    void flush_in(std::int64_t ms);

    event_loop& loop_;
    page_source& source_;
    std::map<unsigned, viewer> viewers_;
    std::map<unsigned, due> stale_;
    std::map<unsigned, std::int64_t> told_ms_;  // when an agent was told of last
    std::int64_t flush_ms_ = INT64_MAX;         // when the next flush is due
    web_server server_;
};

}  // namespace ravd::sim

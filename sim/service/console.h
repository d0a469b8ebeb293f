// The commands of people and scripts, and what they wait for.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sim/common/line_server.h"

namespace ravd::sim {

// "wait EVENT SECONDS": the following lines of the same source wait.
struct wait_request {
    bool active = false;
    std::string event;   // empty: only the time
    unsigned agent = 0;  // 0: any
    std::int64_t ms = 0;
};

struct line_result {
    bool good = true;
    std::string reply;  // lines; the last without its end
    wait_request wait;
};

class line_handler {
  public:
    virtual ~line_handler() = default;
    virtual line_result handle_line(const std::string& line) = 0;
    // A state that was reached before counts too.
    virtual bool already(const wait_request& wait) const = 0;
    virtual void wait_failed() = 0;
};

class console {
  public:
    console(event_loop& loop, line_handler& handler);

    // `complete` is for a terminal.
    void read_standard_input(completer complete) { lines_.read_standard_input("> ", std::move(complete)); }
    // Listens on a Unix socket at `path`, taking the place of one that nobody serves any more.
    bool listen_on(const std::string& path, std::string& error) { return lines_.listen_on(path, error); }

    // Something happened that a line may wait for.
    void event(const std::string& name, unsigned agent);

  private:
    using source = line_server::source;
    struct happened {
        std::uint64_t number;
        std::string name;
        unsigned agent;
    };
    struct waiting {
        wait_request wait;
        std::uint64_t number;  // tells this wait from a later one of the same source
    };

    line_server::next run(source from, const std::string& line);
    bool begin_wait(source from, const wait_request& wait);
    // The first event behind what the source has spent, taken; false when there is none.
    bool spend_event(source from, const wait_request& wait);
    void spend(source from, std::uint64_t number);
    void look_at_waits();
    void end_wait(source from, bool happened);
    void answer(source to, bool good, const std::string& text);

    event_loop& loop_;
    line_handler& handler_;
    std::deque<happened> events_;
    std::uint64_t next_event_ = 1;
    std::map<source, waiting> waits_;
    std::uint64_t next_wait_ = 1;
    bool look_due_ = false;
    std::map<source, std::uint64_t> marks_;  // events up to here are spent
    // Where a new client starts: behind what the clients before it have spent, so that a script may connect anew for
    // every line.
    std::uint64_t control_mark_ = 0;
    line_server lines_;
};

}  // namespace ravd::sim

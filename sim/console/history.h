// What was over time: the load of each channel by the scan reports, and how the clients' signals were. Bounded; the
// oldest goes first.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "sim/console/agent_record.h"

namespace ravd::sim {

class load_history {
  public:
    // `limit`: reports kept in all.
    explicit load_history(std::size_t limit) : limit_(limit) {}

    void add(unsigned agent, const scan_report& report);

    struct grid {
        std::int64_t from_ms = 0;
        std::int64_t to_ms = 0;
        std::vector<int> channels;
        std::vector<std::vector<double>> load;  // slot, then channel: the mean; below 0 without a report
    };
    // Of one agent, or all for 0; of one band (2, 5), or both for 0. `from` .. `to` in `slots` equal parts, at least
    // one.
    grid over(unsigned agent, int band, std::int64_t from_ms, std::int64_t to_ms, std::size_t slots) const;
    // Of the first report kept; 0 without one.
    std::int64_t begin_ms() const { return rows_.empty() ? 0 : rows_.front().time_ms; }

  private:
    struct cell {
        std::int16_t channel;
        float load;
    };
    struct row {
        std::int64_t time_ms;
        unsigned agent;
        std::vector<cell> cells;
    };
    std::size_t limit_;
    std::deque<row> rows_;  // by time
};

class client_history {
  public:
    struct point {
        std::int64_t time_ms;
        int rssi;
    };
    struct client {
        std::string ssid;
        int radio = 0;
        std::deque<point> points;
    };
    // `limit`: points kept of one client.
    explicit client_history(std::size_t limit) : limit_(limit) {}

    // The clients that the agent told of, with their signals, where they are known.
    void add(unsigned agent, const std::vector<radio_view>& radios, std::int64_t time_ms);
    // By address. Null when there are none.
    const std::map<std::string, client>* of(unsigned agent) const;

  private:
    std::size_t limit_;
    std::map<unsigned, std::map<std::string, client>> agents_;
    std::size_t clients_ = 0;
};

}  // namespace ravd::sim

// The entries of the log by their number, however they are kept.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/message_log.h"

namespace ravd::sim {

// What is told of an entry without its whole text.
struct entry_head {
    std::uint64_t seq = 0;
    std::int64_t time_ms = 0;
    unsigned agent = 0;
    std::string mac;
    log_entry::kind what = log_entry::kind::event;
    std::string cmd;        // of a message; of an event its kind
    std::size_t size = 0;   // bytes of the message
    std::string text;       // its beginning
    std::uint64_t of = 0;   // of a violation: the message it is about
    bool violates = false;  // a message that broke the protocol
};

entry_head make_head(const log_entry& entry, std::uint64_t seq, std::uint64_t of);

class entry_store {
  public:
    virtual ~entry_store() = default;
    // The entries kept are first() .. next() - 1.
    virtual std::uint64_t first() const = 0;
    virtual std::uint64_t next() const = 0;
    // False when it is not kept. The outline, which is had faster, is a head without `mac` and `text`.
    virtual bool outline(std::uint64_t seq, entry_head& out) = 0;
    virtual bool head(std::uint64_t seq, entry_head& out) = 0;
    // Its line of the log, without the line end.
    virtual bool line(std::uint64_t seq, std::string& out) = 0;
};

struct entry_filter {
    unsigned agent = 0;     // 0: any
    std::string direction;  // "received", "sent", "event"; empty: any
    std::string cmd;
    std::string text;  // stands somewhere in the line
    bool violations = false;
    std::uint64_t before = UINT64_MAX;
    std::size_t limit = 100;
};

struct entry_selection {
    std::vector<entry_head> entries;  // the newest first
    std::uint64_t looked_at = 0;      // the oldest that was looked at
    bool more = false;                // there are older ones
};

// Looks through a bounded part of what is kept: with `more` the search goes on `before` the oldest looked at.
entry_selection select_entries(entry_store& from, const entry_filter& wanted);

const char* name_of(log_entry::kind what);

}  // namespace ravd::sim

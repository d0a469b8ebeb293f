// The last entries of a running service.
#pragma once

#include <deque>
#include <string>

#include "sim/console/entry_store.h"

namespace ravd::sim {

class memory_entries : public entry_store {
  public:
    // Limits: entries, and bytes of their lines.
    explicit memory_entries(std::size_t entries = 50000, std::size_t bytes = 64u << 20)
        : entry_limit_(entries), byte_limit_(bytes) {}

    void add(entry_head head, std::string line);
    // The message broke the protocol.
    void mark(std::uint64_t seq);

    std::uint64_t first() const override { return first_; }
    std::uint64_t next() const override { return first_ + kept_.size(); }
    bool outline(std::uint64_t seq, entry_head& out) override { return head(seq, out); }
    bool head(std::uint64_t seq, entry_head& out) override;
    bool line(std::uint64_t seq, std::string& out) override;

  private:
    struct stored {
        entry_head head;
        std::string line;
    };
    std::size_t entry_limit_;
    std::size_t byte_limit_;
    std::uint64_t first_ = 1;
    std::size_t bytes_ = 0;
    std::deque<stored> kept_;
};

}  // namespace ravd::sim

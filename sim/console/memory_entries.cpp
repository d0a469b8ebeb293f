#include "sim/console/memory_entries.h"

#include <utility>

namespace ravd::sim {

void memory_entries::add(entry_head head, std::string line) {
    line.shrink_to_fit();
    bytes_ += line.size();
    kept_.push_back({std::move(head), std::move(line)});
    while (kept_.size() > 1 && (kept_.size() > entry_limit_ || bytes_ > byte_limit_)) {
        bytes_ -= kept_.front().line.size();
        kept_.pop_front();
        ++first_;
    }
}

void memory_entries::mark(std::uint64_t seq) {
    if (seq >= first_ && seq < next()) kept_[static_cast<std::size_t>(seq - first_)].head.violates = true;
}

bool memory_entries::head(std::uint64_t seq, entry_head& out) {
    if (seq < first_ || seq >= next()) return false;
    out = kept_[static_cast<std::size_t>(seq - first_)].head;
    return true;
}

bool memory_entries::line(std::uint64_t seq, std::string& out) {
    if (seq < first_ || seq >= next()) return false;
    out = kept_[static_cast<std::size_t>(seq - first_)].line;
    return true;
}

}  // namespace ravd::sim

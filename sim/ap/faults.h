// Faults to inject: what a neighbour of the daemon does wrong, how often, and for which interface.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace ravd::sim {

enum class fault_kind {
    hang,     // never answers
    fail,     // driver: an errno; commands: status 1; services: "status" "error"
    late,     // answers after some milliseconds
    count,    // driver: the reply's count is a lie
    length,   // driver: a MIB's length is a lie
    garbage,  // bytes without sense
    silent,   // driver: success, and nothing done or written
    empty,    // commands: no output
    dead,     // services: nobody serves the module
};

struct fault {
    std::string target;  // "any", a call ("stations", "get-mib", "get-mib:chanspec", "0x8bbf"), "iwpriv", "config", ...
    std::string ifname;  // empty: every interface
    fault_kind kind = fault_kind::hang;
    std::int64_t value = 0;  // errno, milliseconds, count or length
    int times = 0;           // 0: until cleared
};

class fault_list {
  public:
    void add(const fault& one) { faults_.push_back(one); }
    // Drops those of a target, or all with an empty one. How many there were.
    int clear(const std::string& target);
    // The first fault that strikes a call: `names` are all names under which it may be known. Counts it as struck.
    std::optional<fault> strike(const std::vector<std::string>& names, const std::string& ifname = {});
    bool none() const { return faults_.empty(); }
    // Whether a target has a fault of a kind, without striking.
    bool has(const std::string& target, fault_kind kind) const;
    // One line, each fault as it was given.
    std::string text() const;

  private:
    std::list<fault> faults_;
};

// The words after "fault": TARGET KIND [VALUE] [on IFNAME] [times N]. False with the reason.
bool parse_fault(const std::vector<std::string>& words, fault& result, std::string& reason);

// Bytes without sense, the same for the same seed.
std::string garbage(std::uint32_t seed, std::size_t size);

}  // namespace ravd::sim

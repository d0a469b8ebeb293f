#include "sim/console/entry_store.h"

#include <algorithm>

#include "sim/common/text.h"
#include "sim/console/domain_model.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {
namespace {

constexpr std::size_t shown_text = 200;
// What one search may look at.
constexpr std::size_t search_entries = 20000;
constexpr std::size_t search_bytes = 64u << 20;

bool passes(const entry_head& head, const entry_filter& wanted) {
    return (wanted.agent == 0 || head.agent == wanted.agent) &&
           (wanted.direction.empty() || wanted.direction == name_of(head.what)) &&
           (wanted.cmd.empty() || wanted.cmd == head.cmd) &&
           (!wanted.violations || head.violates || head.cmd == "violation");
}

}  // namespace

const char* name_of(log_entry::kind what) {
    static const char* const names[] = {"received", "sent", "event"};
    return names[static_cast<int>(what)];
}

entry_head make_head(const log_entry& entry, std::uint64_t seq, std::uint64_t of) {
    entry_head head;
    head.seq = seq;
    head.time_ms = entry.time_ms;
    head.agent = entry.agent;
    head.mac = printable(entry.ap_mac, text_limit);
    head.what = entry.what;
    head.size = entry.bytes.size();
    head.text = printable(entry.bytes.substr(0, shown_text), shown_text);
    head.of = of;
    if (entry.what == log_entry::kind::event)
        head.cmd = name_of(kind_of_event(entry.bytes));
    else
        head.cmd = printable(json_text(entry.message, "cmd"), text_limit);
    return head;
}

entry_selection select_entries(entry_store& from, const entry_filter& wanted) {
    entry_selection result;
    std::uint64_t seq = std::min(wanted.before, from.next());
    std::size_t bytes = 0;
    std::size_t looked = 0;
    result.looked_at = seq;
    std::string line;
    while (seq > from.first() && result.entries.size() < wanted.limit && looked < search_entries &&
           bytes < search_bytes) {
        entry_head head;
        result.looked_at = --seq;
        ++looked;
        if (!from.outline(seq, head) || !passes(head, wanted)) continue;
        if (!wanted.text.empty()) {
            if (!from.line(seq, line)) continue;
            bytes += line.size();
            if (line.find(wanted.text) == std::string::npos) continue;
        }
        if (from.head(seq, head)) result.entries.push_back(std::move(head));
    }
    result.more = seq > from.first();
    return result;
}

}  // namespace ravd::sim

// The lab service's console: lines of a log, and what a page asks about them. A line that is no entry is taken for a
// request.
//
// Aims at: sim/console/agent_record.cpp sim/console/domain_model.cpp sim/console/frames.cpp sim/console/history.cpp
//          sim/console/log_file.cpp sim/console/memory_entries.cpp sim/console/page_queries.cpp
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "sim/console/frames.h"
#include "sim/console/log_file.h"
#include "sim/console/memory_entries.h"
#include "sim/console/page_state.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ravd::sim;
    domain_model domain;
    memory_entries entries(50, 1u << 20);
    load_history loads(20);
    client_history clients(5);
    std::int64_t now = 0;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::string_view text = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(text.size() + 1, rest.size()));
        parsed_line line;
        std::string error;
        if (!parse_log_line(text, line)) {
            const json_ptr request = parse_json(text, error);
            const std::string type = json_text(request.get(), "type");
            const json_ptr reply = answer_query({domain, entries, loads, clients, now}, type, request.get(), error);
            if (reply) json_compact(reply.get());
            continue;
        }
        now = line.entry.time_ms;
        const domain_model::agents_map before = domain.agents();
        const domain_model::change change = domain.apply(line.entry, entries.next());
        if (change.of != 0) entries.mark(change.of);
        const agent_record* who = domain.find(line.entry.agent);
        if (who && change.report) loads.add(who->id, *who->report);
        if (who) clients.add(who->id, who->radios, now);
        entries.add(make_head(line.entry, entries.next(), change.of), std::string(text));
        if (!who) continue;
        const std::string told = json_compact(agent_frame(*who, {}).get());
        const json_ptr again = parse_json(told, error);
        check(again != nullptr);
        if (who->report) json_compact(report_frame(*who, domain).get());
    }
    return 0;
}

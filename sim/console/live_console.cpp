#include "sim/console/live_console.h"

#include <algorithm>
#include <utility>

#include "sim/console/page_orders.h"
#include "sim/service/clock.h"

namespace ravd::sim {
namespace {

constexpr std::size_t reports_kept = 40000;
constexpr std::size_t points_kept = 60;  // of each client

}  // namespace

live_console::live_console(lab& service)
    : service_(service), loads_(reports_kept), clients_(points_kept), hub_(service.loop(), *this) {
    service_.observe(this);
}

live_console::~live_console() { service_.observe(nullptr); }

void live_console::logged(const log_entry& entry) {
    const std::uint64_t seq = entries_.next();
    const domain_model::change change = domain_.apply(entry, seq);
    entry_head head = make_head(entry, seq, change.of);
    if (change.of != 0) entries_.mark(change.of);
    const agent_record* who = domain_.find(entry.agent);
    if (who && change.report) loads_.add(who->id, *who->report);
    if (who && entry.what == log_entry::kind::received && json_member(entry.message, "radios"))
        clients_.add(who->id, who->radios, entry.time_ms);
    hub_.entry(head, change);
    entries_.add(std::move(head), std::string(entry.line));
}

page_state live_console::state() { return {domain_, entries_, loads_, clients_, wall_ms()}; }

json_ptr live_console::hello() { return hello_frame("live", wall_ms()); }

link_state live_console::link(unsigned agent) {
    link_statistics link;
    service_.links().statistics(agent, link);
    return {link.mute, link.reading};
}

json_ptr live_console::last_frame() { return nullptr; }

json_ptr live_console::answer(const std::string& type, json_object* request, std::string& error) {
    const no_files page;  // whoever looks need not be the one who runs the service
    std::vector<unsigned> agents;
    if (!asked_agents(service_, request, agents, error)) return nullptr;
    if (type == "preview") return answer_preview(service_, request, agents, error);
    for (const unsigned agent : agents)
        hub_.stale(agent, true, false);
    if (type == "order") return answer_order(service_, request, agents, error);
    if (type == "raw") return answer_raw(service_, request, agents, error);
    if (type == "fault") return answer_fault(service_, request, agents, error);
    error = "there is no request of that type here";
    return nullptr;
}

}  // namespace ravd::sim

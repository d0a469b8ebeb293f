#include "sim/console/live_console.h"

#include <algorithm>
#include <utility>

#include "sim/console/page_orders.h"
#include "sim/console/plan_frame.h"
#include "sim/service/clock.h"

namespace ravd::sim {
namespace {

constexpr std::size_t reports_kept = 40000;
constexpr std::size_t points_kept = 60;  // of each client
constexpr std::int64_t plan_interval_ms = 100;

}  // namespace

live_console::live_console(lab& service)
    : service_(service), loads_(reports_kept), clients_(points_kept), hub_(service.loop(), *this) {
    service_.observe(this);
    service_.planner().watch([this] { plan_changed(); });
}

live_console::~live_console() {
    service_.observe(nullptr);
    service_.planner().watch(nullptr);
}

void live_console::plan_changed() {
    if (std::exchange(plan_due_, true)) return;
    service_.loop().after(plan_interval_ms, [this] {
        plan_due_ = false;
        hub_.broadcast(plan_frame(service_.planner().session(), domain_));
    });
}

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
    // Which of the plan's changes the radios show by now.
    if (change.agent && !service_.planner().session().at_rest()) plan_changed();
    entries_.add(std::move(head), std::string(entry.line));
}

page_state live_console::state() { return {domain_, entries_, loads_, clients_, wall_ms()}; }

json_ptr live_console::hello() { return hello_frame("live", wall_ms()); }

link_state live_console::link(unsigned agent) {
    link_statistics link;
    service_.links().statistics(agent, link);
    return {link.mute, link.reading};
}

json_ptr live_console::last_frame() { return plan_frame(service_.planner().session(), domain_); }

json_ptr live_console::answer(const std::string& type, json_object* request, std::string& error) {
    if (type == "plan") return answer_plan(service_.planner(), request, error);
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

#include <algorithm>

#include "sim/common/text.h"
#include "sim/service/clock.h"
#include "sim/service/command_table.h"
#include "sim/service/overview.h"
#include "sim/service/protocol_tables.h"

namespace ravd::sim {
namespace {

bool do_agents(const command_call& c) {
    if (c.service.agents().empty()) c.add("no agents");
    for (const auto& entry : c.service.agents()) {
        const agent& a = entry.second;
        c.add(a.name() + " from " + a.peer + " " + a.sub_protocol + " " + a.path +
              (a.subscribed ? " subscribed" : " not subscribed") + (a.domain.empty() ? "" : " domain " + a.domain) +
              (a.violations ? " violations " + std::to_string(a.violations) : ""));
    }
    return true;
}
bool may_happen(const std::string& event) {
    const std::vector<std::string> names = waitable_events();
    return std::find(names.begin(), names.end(), event) != names.end();
}

bool do_overview(const command_call& c) {
    c.add(overview_table(c.service.agents(), monotonic_seconds()));
    return true;
}
bool do_plan(const command_call& c) {
    std::string reply;
    if (!c.service.planner().run(c.line.args, monotonic_seconds(), reply)) return c.fail(reply);
    if (!reply.empty()) c.add(reply);
    return true;
}
bool do_accept(const command_call& c) {
    c.service.policy() = subscription_policy();
    return true;
}
bool do_refuse(const command_call& c) {
    subscription_policy policy;
    if (!c.number(0, -2147483647, 2147483647, 503, policy.refuse_code)) return false;
    if (policy.refuse_code == 0) return c.fail("code 0 is no refusal");
    policy.refuse_once = c.word(1) != "always";
    c.service.policy() = policy;
    return true;
}
bool do_silent(const command_call& c) {
    c.service.policy() = subscription_policy();
    c.service.policy().silent = true;
    return true;
}
bool do_domain(const command_call& c) {
    c.service.settings().domain = c.word(0);
    return true;
}
bool do_config_object(const command_call& c) {
    std::string text;
    std::string error;
    if (!c.word(0).empty() && !read_inline_or_file(c.word(0), text, error)) return c.fail(error);
    if (!text.empty() && !parse_json(text, error)) return c.fail(error);
    c.service.settings().config = text;
    return true;
}
bool do_violations(const command_call& c) {
    c.add(std::to_string(c.service.violations()) + " violations");
    return true;
}
bool do_wait(const command_call& c) {
    int seconds = 0;
    if (c.line.args.empty()) return c.fail("wait takes an event and perhaps seconds");
    if (!c.number(1, 0, 1000000, 60, seconds)) return false;
    if (!c.line.unchecked && !may_happen(c.word(0))) {
        const std::string meant = nearest(c.word(0), waitable_events());
        return c.fail("nothing called " + printable(c.word(0), 40) + " ever happens" +
                      (meant.empty() ? "" : "; " + meant + " does"));
    }
    c.result.wait.event = c.word(0);
    if (c.line.to == target::one && c.who) c.result.wait.agent = c.who->number;
    c.result.wait.ms = std::int64_t{1000} * seconds;
    c.result.wait.active = true;
    return true;
}
bool do_sleep(const command_call& c) {
    int milliseconds = 0;
    if (!c.number(0, 0, 1000000000, 1000, milliseconds)) return false;
    c.result.wait.ms = milliseconds;
    c.result.wait.active = true;
    return true;
}
bool do_quit(const command_call& c) {
    int status = 0;
    if (!c.number(0, 0, 255, 0, status)) return false;
    c.service.quit(status);
    return true;
}
}  // namespace

std::vector<std::string> waitable_events() {
    std::vector<std::string> names = {"connected", "subscribed", "closed", "violation", "verified", "plan", "message"};
    std::size_t count = 0;
    const message_rule* rules = message_rules(count);
    for (std::size_t i = 0; i < count; ++i)
        names.push_back(rules[i].cmd);
    return names;
}

const std::vector<command>& service_commands() {
    static const std::vector<command> table = {
        {"agents", "", "who is connected", false, do_agents},
        {"overview", "", "a table with a line for each agent", false, do_overview},
        {"plan", plan_usage(),
         "channels, widths and powers of all agents together: propose them from the last reports, or scan first; apply "
         "them\n        in stages and verify them by new scans; undo them. neighbours sends 802.11k lists, balance "
         "shows "
         "crowded\n        radios and \"balance apply\" asks clients to leave them",
         false, do_plan},
        {"accept", "", "answer subscriptions with success", false, do_accept},
        {"refuse", "[CODE [always]]", "refuse the next subscription, or all, with this code (503)", false, do_refuse},
        {"silent", "", "do not answer subscriptions", false, do_silent},
        {"domain", "[NAME]", "domain of the following subscription answers", false, do_domain},
        {"config-object", "[FILE|JSON]", "configuration object of the following subscription answers", false,
         do_config_object},
        {"violations", "", "how many violations of the protocol were seen", false, do_violations},
        {"wait", "EVENT [SECONDS]",
         "go on when a message of that name arrives, or \"connected\", \"subscribed\", \"closed\", \"verified\", "
         "\"plan\" (60)",
         false, do_wait},
        {"sleep", "MILLISECONDS", "go on after that time", false, do_sleep},
        {"quit", "[STATUS]", "end the service", false, do_quit},
    };
    return table;
}

}  // namespace ravd::sim

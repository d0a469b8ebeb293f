#include "sim/console/plan_frame.h"

#include <strings.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "sim/common/text.h"
#include "sim/console/frames.h"
#include "sim/service/clock.h"

namespace ravd::sim {
namespace {

using state = plan_session::state;

const char* state_for_page(state now) {
    switch (now) {
        case state::idle:
            return "none";
        case state::checking:
            return "verifying";
        case state::applied:
            return "done";
        default:
            return word_of(now);
    }
}

std::vector<std::string> may(const plan_session& session) {
    switch (session.now()) {
        case state::proposed:
            if (session.last()->changes.empty()) return {"start", "propose"};
            return {"start", "propose", "apply"};
        case state::applying:
            return {"cancel"};
        case state::checking:
            return {"undo"};
        case state::applied:
        case state::failed:
            return {"start", "propose", "undo"};
        case state::idle:
        case state::undone:
            return {"start", "propose"};
        default:
            return {};
    }
}

json_ptr setup_object(const radio_setup& setup) {
    json_ptr one = new_json_object();
    json_put(one.get(), "channel", setup.channel);
    json_put(one.get(), "bandwidth", setup.bandwidth);
    json_put(one.get(), "primary", setup.primary);
    json_put(one.get(), "power", setup.power);
    return one;
}

// The newest connection of an access point.
const agent_record* agent_of(const domain_model& domain, const std::string& mac) {
    const auto& agents = domain.agents();
    const auto found = std::find_if(agents.rbegin(), agents.rend(), [&](const auto& entry) {
        return entry.second->here() && strcasecmp(entry.second->mac.c_str(), mac.c_str()) == 0;
    });
    return found == agents.rend() ? nullptr : found->second.get();
}

bool shows(const agent_record& who, int id, const radio_setup& setup) {
    return std::any_of(who.radios.begin(), who.radios.end(), [&](const radio_view& radio) {
        return radio.id == id && radio.channel == setup.channel && radio.bandwidth == setup.bandwidth &&
               radio.power == setup.power;
    });
}

int stage_of(const proposal& plan, const std::string& mac) {
    for (std::size_t i = 0; i < plan.stages.size(); ++i)
        if (std::find(plan.stages[i].begin(), plan.stages[i].end(), mac) != plan.stages[i].end())
            return static_cast<int>(i) + 1;
    return 0;
}

json_ptr change_object(const proposal& plan, const radio_change& change, const domain_model& domain) {
    const domain_radio& radio = plan.model.radios[change.radio];
    const agent_record* who = agent_of(domain, radio.ap_mac);
    json_ptr one = new_json_object();
    if (who) json_put(one.get(), "agent", static_cast<std::int64_t>(who->id));
    json_put(one.get(), "mac", radio.ap_mac);
    json_put(one.get(), "radio", radio.id);
    json_put(one.get(), "from", setup_object(change.from));
    json_put(one.get(), "to", setup_object(change.to));
    json_put(one.get(), "gain", json_decimal(change.gain));
    json_put(one.get(), "reason", change.reason);
    json_put(one.get(), "stage", stage_of(plan, radio.ap_mac));
    json_put(one.get(), "state", who && shows(*who, radio.id, change.to) ? "done" : "open");
    return one;
}

// "max-changes=" holds for this proposal; what else was set stays.
bool read_request(json_object* request, std::vector<argument>& args, std::string& error) {
    static constexpr std::pair<const char*, const char*> steps[] = {
        {"start", "scan"},  {"propose", "propose"},       {"apply", "apply"},     {"undo", "undo"},
        {"cancel", "undo"}, {"neighbours", "neighbours"}, {"balance", "balance"}, {"balance-apply", "balance"},
    };
    const std::string wanted = json_text(request, "do");
    const auto step =
        std::find_if(std::begin(steps), std::end(steps), [&](const auto& s) { return wanted == s.first; });
    if (step == std::end(steps)) {
        error = "a plan is not to \"" + printable(wanted, 40) + "\"";
        return false;
    }
    args.push_back({"", step->second});
    if (wanted == "balance-apply") args.push_back({"", "apply"});
    if (wanted == "start" || wanted == "propose")
        args.push_back({"max-changes", std::to_string(json_number(request, "max-changes", 0))});
    std::vector<std::string> options;
    split_words(json_text(request, "options"), options);
    for (const std::string& word : options) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) error = "options are NAME=VALUE";
        if (equals != std::string::npos) args.push_back({word.substr(0, equals), word.substr(equals + 1)});
    }
    return error.empty();
}

}  // namespace

json_ptr plan_frame(const plan_session& session, const domain_model& domain) {
    json_ptr frame = bare_frame("plan");
    json_put(frame.get(), "state", state_for_page(session.now()));
    json_put(frame.get(), "text", session.text());
    json_put(frame.get(), "may", json_texts(may(session)));
    json_ptr changes = new_json_array();
    if (const auto& plan = session.last()) {
        json_put(frame.get(), "before", json_decimal(plan->before.interference()));
        json_put(frame.get(), "after", json_decimal(plan->after.interference()));
        json_put(frame.get(), "stages", static_cast<std::int64_t>(plan->stages.size()));
        for (const radio_change& change : plan->changes)
            json_append(changes.get(), change_object(*plan, change, domain));
        json_put(frame.get(), "silent", json_texts(plan->model.silent));
    }
    if (session.measured()) json_put(frame.get(), "measured", json_decimal(session.measured()->interference()));
    json_put(frame.get(), "changes", std::move(changes));
    return frame;
}

json_ptr answer_plan(plan_desk& desk, json_object* request, std::string& error) {
    std::vector<argument> args;
    std::string text;
    if (!read_request(request, args, error)) return nullptr;
    if (!desk.run(args, monotonic_seconds(), text)) {
        error = text;
        return nullptr;
    }
    json_ptr reply = new_json_object();
    json_put(reply.get(), "text", text);
    return reply;
}

}  // namespace ravd::sim

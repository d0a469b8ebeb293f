#include "sim/service/domain/session.h"

#include <algorithm>
#include <utility>

#include "sim/service/domain/neighbours.h"
#include "sim/service/presentation.h"

namespace ravd::sim {
namespace {

// What a measured cost may differ by chance, however small it is.
constexpr double noise = 0.5;

std::string join(const std::set<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

const char* word_of(plan_session::state state) {
    switch (state) {
        case plan_session::state::idle:
            return "idle";
        case plan_session::state::scanning:
            return "scanning";
        case plan_session::state::proposed:
            return "proposed";
        case plan_session::state::applying:
            return "applying";
        case plan_session::state::checking:
            return "checking";
        case plan_session::state::applied:
            return "applied";
        case plan_session::state::undoing:
            return "undoing";
        case plan_session::state::undone:
            return "undone";
        case plan_session::state::failed:
            return "failed";
    }
    return "";
}

plan_session::plan_session(domain_world& world, std::function<void(const std::string&)> say,
                           std::function<void()> changed)
    : world_(world), say_(std::move(say)), changed_(std::move(changed)) {}

bool plan_session::at_rest() const {
    return state_ != state::scanning && state_ != state::applying && state_ != state::checking &&
           state_ != state::undoing;
}

void plan_session::enter(state next, const std::string& why) {
    state_ = next;
    why_ = why;
    say_(text());
    changed_();
}

std::string plan_session::text() const {
    std::string text = word_of(state_);
    if (rollout_ && (state_ == state::applying || state_ == state::undoing))
        text += ", stage " + std::to_string(rollout_->stage()) + " of " + std::to_string(rollout_->stages());
    if (!awaited_.empty() && !at_rest()) text += ", waiting for reports of " + std::to_string(awaited_.size());
    return why_.empty() ? text : text + ": " + why_;
}

// --- scans

bool plan_session::order_scans(double now) {
    awaited_.clear();
    for (const access_point_view& ap : world_.access_points())
        if (world_.scan(ap.ap_mac, options_.channels)) awaited_.insert(ap.ap_mac);
    due_ = now + options_.scan_timeout;
    return !awaited_.empty();
}

bool plan_session::scan(double now, std::string& error) {
    if (!at_rest()) {
        error = std::string("the plan is ") + word_of(state_);
        return false;
    }
    if (!order_scans(now)) {
        error = "no agent is subscribed";
        return false;
    }
    enter(state::scanning, "");
    return true;
}

void plan_session::reported(const std::string& ap_mac, double now) {
    if (awaited_.erase(ap_mac) == 0) return;
    if (!awaited_.empty()) return changed_();
    if (state_ == state::scanning) scans_over();
    if (state_ == state::checking) judge(now);
}

void plan_session::scans_over() {
    if (!awaited_.empty()) say_("no report in time from " + join(std::exchange(awaited_, {})));
    state_ = state::idle;
    std::string error;
    if (!propose(error)) enter(state::failed, error);
}

// --- proposal

bool plan_session::propose(std::string& error) {
    if (!at_rest()) {
        error = std::string("the plan is ") + word_of(state_);
        return false;
    }
    const std::vector<access_point_view> access_points = world_.access_points();
    if (access_points.empty())
        error = "no agent is subscribed";
    else if (std::none_of(access_points.begin(), access_points.end(),
                          [](const access_point_view& ap) { return ap.reported; }))
        error = "no agent has reported a scan yet; \"plan scan\" orders one of all and plans then";
    if (!error.empty()) return false;
    proposal_ = make_proposal(access_points, options_);
    measured_.reset();
    touched_.clear();
    rollout_.reset();
    enter(state::proposed, std::to_string(proposal_->changes.size()) + " of " +
                               std::to_string(proposal_->model.radios.size()) + " radios change, interference " +
                               two_digits(proposal_->before.interference()) + " becomes " +
                               two_digits(proposal_->after.interference()));
    return true;
}

// --- settings

std::vector<std::vector<access_point_order>> plan_session::orders(bool back) const {
    std::vector<std::vector<access_point_order>> stages;
    std::vector<std::string> whom;
    // Back from the last: who did not follow is off the air perhaps, and its neighbours stay until it shows itself.
    if (back)
        whom.assign(touched_.rbegin(), touched_.rend());
    else
        for (const std::vector<std::string>& stage : proposal_->stages)
            whom.insert(whom.end(), stage.begin(), stage.end());
    for (const std::vector<std::string>& stage : stages_of(hearing_graph(proposal_->model), whom)) {
        stages.emplace_back();
        for (const std::string& mac : stage) {
            access_point_order order = {mac, {}};
            for (const radio_change& change : proposal_->changes) {
                const domain_radio& radio = proposal_->model.radios[change.radio];
                if (radio.ap_mac != mac) continue;
                order.radios.push_back({radio.id, !same_block(change.from, change.to),
                                        change.from.power != change.to.power, back ? change.from : change.to});
            }
            stages.back().push_back(std::move(order));
        }
    }
    return stages;
}

void plan_session::begin_rollout(bool back, double now) {
    auto costs = std::make_shared<interference>(proposal_->model);
    const assignment plan = back ? costs->present() : proposal_->plan;
    const rollout_settings settings = {static_cast<double>(options_.apply_timeout),
                                       static_cast<double>(options_.settle), back};
    rollout_ = std::make_unique<rollout>(
        world_, orders(back), settings,
        [costs, plan](const std::string& mac) { return neighbour_lists(*costs, plan, mac); }, say_);
    enter(back ? state::undoing : state::applying, back ? why_ : "");
    rollout_->begin(now);
    follow_rollout(now);
}

// Where the proposal no longer fits what the radios are.
std::string plan_session::not_as_proposed() const {
    for (const radio_change& change : proposal_->changes) {
        const domain_radio& radio = proposal_->model.radios[change.radio];
        const std::string difference =
            missing_of({radio.ap_mac, {{radio.id, true, true, change.from}}}, world_.radios_of(radio.ap_mac));
        if (!difference.empty()) return radio.ap_mac + ": " + difference;
    }
    return "";
}

bool plan_session::apply(double now, std::string& error) {
    if (state_ != state::proposed)
        error = std::string("nothing is proposed; the plan is ") + word_of(state_);
    else if (proposal_->changes.empty())
        error = "no change is proposed";
    else if (const std::string difference = not_as_proposed(); !difference.empty())
        error = "the proposal is out of date; " + difference;
    if (!error.empty()) return false;
    begin_rollout(false, now);
    return true;
}

bool plan_session::undo(double now, std::string& error) {
    switch (state_) {
        case state::applying:
            rollout_->stop("undo was asked for");
            follow_rollout(now);
            return true;
        case state::checking:
        case state::applied:
        case state::failed:
            if (!touched_.empty()) {
                begin_undo("as asked", now);
                return true;
            }
            break;
        default:
            break;
    }
    error = std::string("nothing is applied; the plan is ") + word_of(state_);
    return false;
}

void plan_session::begin_undo(const std::string& why, double now) {
    awaited_.clear();
    why_ = why;
    begin_rollout(true, now);
}

// Those whose own settings stay have to learn where the others are.
void plan_session::send_lists(const assignment& plan) {
    const interference costs(proposal_->model);
    std::set<std::string> others;
    for (const domain_radio& radio : proposal_->model.radios)
        others.insert(radio.ap_mac);
    for (const std::string& mac : rollout_->ordered())
        others.erase(mac);
    for (const std::string& mac : others) {
        configuration settings;
        settings.neighbours = neighbour_lists(costs, plan, mac);
        world_.configure(mac, std::move(settings));
    }
}

void plan_session::follow_rollout(double now) {
    if (!rollout_ || (state_ != state::applying && state_ != state::undoing)) return;
    if (state_ == state::applying) touched_ = rollout_->ordered();
    if (rollout_->state() == rollout::outcome::running) return;
    const std::string fault = rollout_->fault();
    const bool failed = rollout_->state() == rollout::outcome::failed;
    if (state_ == state::undoing) {
        send_lists(interference(proposal_->model).present());
        if (!failed) touched_.clear();
        return enter(failed ? state::failed : state::undone, failed ? "not taken back as a whole: " + fault : why_);
    }
    if (failed) {
        if (touched_.empty()) return enter(state::undone, fault);
        return begin_undo(fault, now);
    }
    send_lists(proposal_->plan);
    if (!options_.verify) return enter(state::applied, "not verified by scans");
    if (!order_scans(now)) return enter(state::applied, "not verified: no agent took a scan");
    enter(state::checking, "");
}

// --- verification

void plan_session::judge(double now) {
    if (!awaited_.empty()) {
        const std::string missing = join(std::exchange(awaited_, {}));
        return enter(state::applied, "not verified: no report of " + missing);
    }
    const plan_model model = build_model(world_.access_points(), options_.limits);
    if (model.radios.size() != proposal_->model.radios.size())
        return enter(state::applied, "not verified: the domain has other radios than before");
    const interference costs(model);
    measured_ = costs.cost(costs.present());
    const double hoped = std::max(proposal_->before.total(), proposal_->after.total());
    const std::string sums = "measured " + two_digits(measured_->interference()) + " (" +
                             two_digits(proposal_->before.interference()) + " before, " +
                             two_digits(proposal_->after.interference()) + " planned)";
    if (measured_->total() > hoped * (1 + options_.tolerance / 100.0) + noise)
        return begin_undo("it became worse: " + sums, now);
    enter(state::applied, "verified: " + sums);
}

// --- what happens

void plan_session::described(const std::string& ap_mac, double now) {
    if (!rollout_ || at_rest()) return;
    const std::size_t stage = rollout_->stage();
    rollout_->described(ap_mac, now);
    if (rollout_->stage() != stage) changed_();
    follow_rollout(now);
}

void plan_session::turn(double now) {
    if (state_ == state::scanning && now >= due_) return scans_over();
    if (state_ == state::checking && now >= due_) return judge(now);
    if (!rollout_ || (state_ != state::applying && state_ != state::undoing)) return;
    const std::size_t stage = rollout_->stage();
    rollout_->turn(now);
    if (rollout_->stage() != stage) changed_();
    follow_rollout(now);
}

json_ptr plan_session::json() const {
    json_ptr object = proposal_ ? proposal_json(*proposal_) : new_json_object();
    json_put(object.get(), "state", word_of(state_));
    json_put(object.get(), "text", text());
    json_put(object.get(), "why", why_);
    if (rollout_) json_put(object.get(), "stage", static_cast<int>(rollout_->stage()));
    if (measured_) json_put(object.get(), "measured", cost_json(*measured_));
    json_put(object.get(), "waiting-for", json_texts(awaited_));
    return object;
}

}  // namespace ravd::sim

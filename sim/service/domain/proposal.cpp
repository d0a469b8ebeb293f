#include "sim/service/domain/proposal.h"

#include <algorithm>
#include <set>
#include <utility>

#include "sim/common/table.h"
#include "sim/service/presentation.h"

namespace ravd::sim {
namespace {

std::string reason_of(const domain_radio& radio, const radio_change& change) {
    if (radio.must_move) return "its channel is not available";
    if (change.to.power > change.from.power) return "a client is too weak";
    if (same_block(change.from, change.to)) return "as loud as needed";
    return change.from.bandwidth == change.to.bandwidth ? "quieter" : "better width";
}

void add_changes(proposal& p, const interference& costs) {
    const std::vector<double> bring = gains(costs, p.plan);
    for (std::size_t i = 0; i < p.plan.size(); ++i) {
        const domain_radio& radio = p.model.radios[i];
        radio_change change;
        change.radio = i;
        change.from = radio.now;
        change.to = setup_of(radio, p.plan[i]);
        if (change.from == change.to) continue;
        change.gain = bring[i];
        change.reason = reason_of(radio, change);
        p.changes.push_back(std::move(change));
    }
}

json_ptr decimal(double value) { return json_decimal(value, two_digits(value)); }

json_ptr setup_json(const radio_setup& setup) {
    json_ptr object = new_json_object();
    json_put(object.get(), "channel", setup.channel);
    json_put(object.get(), "bandwidth", setup.bandwidth);
    json_put(object.get(), "primary-channel", setup.primary);
    json_put(object.get(), "power", setup.power);
    return object;
}

json_ptr radio_json(const domain_radio& radio) {
    json_ptr object = new_json_object();
    json_put(object.get(), "ap-mac", radio.ap_mac);
    json_put(object.get(), "radio", radio.id);
    json_put(object.get(), "band", radio.band);
    json_put(object.get(), "clients", static_cast<int>(radio.clients));
    json_put(object.get(), "now", setup_json(radio.now));
    if (!radio.held.empty()) json_put(object.get(), "held", radio.held);
    return object;
}

std::string sums(const domain_cost& cost) {
    return two_digits(cost.interference()) + " (own " + two_digits(cost.own) + ", foreign " + two_digits(cost.foreign) +
           "), with prices " + two_digits(cost.total());
}

}  // namespace

proposal make_proposal(const std::vector<access_point_view>& access_points, const plan_options& options) {
    proposal p;
    p.model = build_model(access_points, options.limits);
    const interference costs(p.model);
    p.plan = find_plan(costs, options.search);
    p.before = costs.cost(costs.present());
    p.after = costs.cost(p.plan);
    add_changes(p, costs);
    std::vector<std::string> macs;
    for (const radio_change& change : p.changes) {
        const std::string& mac = p.model.radios[change.radio].ap_mac;
        if (std::find(macs.begin(), macs.end(), mac) == macs.end()) macs.push_back(mac);
    }
    p.stages = stages_of(hearing_graph(p.model), macs);
    return p;
}

hearing_graph::hearing_graph(const plan_model& model) {
    std::set<std::pair<std::string, std::string>> pairs;
    for (const domain_radio& radio : model.radios) {
        for (const own_signal& signal : radio.hears) {
            const std::string& other = model.radios[signal.radio].ap_mac;
            pairs.insert(std::minmax(radio.ap_mac, other));
        }
    }
    pairs_.assign(pairs.begin(), pairs.end());
}

bool hearing_graph::near(const std::string& a, const std::string& b) const {
    const std::pair<std::string, std::string> pair = std::minmax(a, b);
    return std::binary_search(pairs_.begin(), pairs_.end(), pair);
}

std::vector<std::vector<std::string>> stages_of(const hearing_graph& graph, const std::vector<std::string>& ap_macs) {
    std::vector<std::vector<std::string>> stages;
    for (const std::string& mac : ap_macs) {
        const auto free = std::find_if(stages.begin(), stages.end(), [&](const std::vector<std::string>& stage) {
            return std::none_of(stage.begin(), stage.end(),
                                [&](const std::string& other) { return graph.near(mac, other); });
        });
        if (free == stages.end())
            stages.push_back({mac});
        else
            free->push_back(mac);
    }
    return stages;
}

std::string proposal_text(const proposal& p) {
    table t({"ap-mac", "radio", "now", "planned", "gain", "why"});
    for (const radio_change& change : p.changes) {
        const domain_radio& radio = p.model.radios[change.radio];
        const std::string gain =
            (change.gain < 0 ? "-" : "") + two_digits(change.gain < 0 ? -change.gain : change.gain);
        t.add({radio.ap_mac, std::to_string(radio.id), text_of(change.from), text_of(change.to), gain, change.reason});
    }
    std::string text = p.changes.empty() ? "  no change is worth it" : t.text();
    text += "\ninterference now     " + sums(p.before) + "\ninterference planned " + sums(p.after) + "\n" +
            std::to_string(p.changes.size()) + " of " + std::to_string(p.model.radios.size()) + " radios change, in " +
            std::to_string(p.stages.size()) + " stages";
    for (const std::string& mac : p.model.silent)
        text += "\nno report of " + mac + ", whose channels stay; \"plan scan\" asks for one";
    return text;
}

json_ptr cost_json(const domain_cost& cost) {
    json_ptr object = new_json_object();
    json_put(object.get(), "own", decimal(cost.own));
    json_put(object.get(), "foreign", decimal(cost.foreign));
    json_put(object.get(), "prices", decimal(cost.prices));
    json_put(object.get(), "total", decimal(cost.total()));
    return object;
}

json_ptr proposal_json(const proposal& p) {
    json_ptr object = new_json_object();
    json_put(object.get(), "before", cost_json(p.before));
    json_put(object.get(), "after", cost_json(p.after));
    json_ptr radios = new_json_array();
    std::size_t next = 0;
    for (std::size_t i = 0; i < p.model.radios.size(); ++i) {
        json_ptr radio = radio_json(p.model.radios[i]);
        if (next < p.changes.size() && p.changes[next].radio == i) {
            const radio_change& change = p.changes[next++];
            json_put(radio.get(), "plan", setup_json(change.to));
            json_put(radio.get(), "gain", decimal(change.gain));
            json_put(radio.get(), "reason", change.reason);
        }
        json_append(radios.get(), std::move(radio));
    }
    json_put(object.get(), "radios", std::move(radios));
    json_ptr stages = new_json_array();
    for (const std::vector<std::string>& stage : p.stages)
        json_append(stages.get(), json_texts(stage));
    json_put(object.get(), "stages", std::move(stages));
    json_put(object.get(), "silent", json_texts(p.model.silent));
    return object;
}

}  // namespace ravd::sim

// What plans of a domain cost, on made buildings: as it is, at random, each access point alone, a colouring, the
// planner of the domain, and, for small ones, the best there is. Every figure is computed in the run that prints it.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim/common/dice.h"
#include "sim/common/table.h"
#include "sim/service/domain/building_reports.h"
#include "sim/service/domain/optimiser.h"
#include "sim/service/planner.h"
#include "sim/service/presentation.h"

namespace ravd::sim {
namespace {

using views = std::vector<access_point_view>;

// Of the processor: the machine may be busy.
double seconds_of(const std::function<void()>& work) {
    const std::clock_t begun = std::clock();
    work();
    return static_cast<double>(std::clock() - begun) / CLOCKS_PER_SEC;
}

void set(building_radio& radio, const radio_setup& setup) {
    radio.use = {setup.channel, setup.bandwidth, setup.primary};
    radio.power = setup.power;
}

building with(building made, const interference& costs, const assignment& plan) {
    const plan_model& model = costs.model();
    for (std::size_t i = 0; i < plan.size(); ++i) {
        for (building_access_point& ap : made.access_points)
            if (mac_text(ap.base) == model.radios[i].ap_mac)
                set(ap.radios[static_cast<std::size_t>(model.radios[i].id)], setup_of(model.radios[i], plan[i]));
    }
    return made;
}

// --- the methods --------------------------------------------------------------------------------------------------

building at_random(building made, const interference& costs, dice& d) {
    assignment plan = costs.present();
    for (std::size_t i = 0; i < plan.size(); ++i)
        plan[i].block = static_cast<std::size_t>(d.roll(0, static_cast<int>(costs.choices(i)) - 1));
    return with(std::move(made), costs, plan);
}

// What the automatic mode orders, all access points at once, as often as told.
building each_alone(building made, int rounds) {
    for (; rounds > 0; --rounds) {
        const views reports = building_reports(made);
        for (std::size_t i = 0; i < reports.size(); ++i) {
            for (const decision& d : plan(reports[i].radios, reports[i].heard)) {
                set(made.access_points[i].radios[static_cast<std::size_t>(d.radio)],
                    {d.channel, d.bandwidth, d.primary, d.power});
            }
        }
    }
    return made;
}

// Radios with the most neighbours first; each takes the block of `width` that clashes least with the coloured ones.
// Knows nothing of strangers and of power.
building coloured(building made, const interference& costs, int width) {
    const assignment present = costs.present();
    assignment plan = present;
    std::vector<std::size_t> order(plan.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return costs.links(a).size() > costs.links(b).size(); });
    std::vector<bool> done(plan.size());
    for (const std::size_t i : order) {
        const domain_radio& radio = costs.model().radios[i];
        double least = 1e9;
        for (std::size_t block = 0; block < costs.choices(i); ++block) {
            const radio_setup& s = radio.choices[block].block;
            const bool usual = s.channel == 1 || s.channel == 6 || s.channel == 11;
            if (radio.band == 2 ? s.bandwidth != 20 || !usual : s.bandwidth != width) continue;
            double sum = 0;
            for (const interference::link& to : costs.links(i))
                if (done[to.other])
                    sum += costs.strength_of(i, to, plan) * costs.overlap_of(i, block, to.other, plan[to.other].block);
            if (sum >= least) continue;
            least = sum;
            plan[i].block = block;
        }
        done[i] = true;
    }
    return with(std::move(made), costs, plan);
}

// Every block of every radio of a band, the powers as `start` has them: the least that the limits allow, which costs
// least whatever the blocks are. Branches that cost more than the best so far before they are complete are left out.
class exhaustive {
  public:
    exhaustive(const interference& costs, assignment start, int band) : costs_(costs), plan_(std::move(start)) {
        for (std::size_t i = 0; i < costs_.size(); ++i)
            if (costs_.model().radios[i].band == band) order_.push_back(i);
        rest_.resize(order_.size() + 1);
        for (std::size_t at = order_.size(); at-- > 0;) {
            double least = costs_.fixed(order_[at], 0);
            for (std::size_t block = 0; block < costs_.choices(order_[at]); ++block)
                least = std::min(least, costs_.fixed(order_[at], block));
            rest_[at] = rest_[at + 1] + least;
        }
    }
    double run() {
        go(0, 0);
        return least_;
    }
    std::uint64_t visited() const { return visited_; }

  private:
    void go(std::size_t at, double sum) {
        ++visited_;
        if (sum + rest_[at] >= least_) return;
        if (at == order_.size()) {
            least_ = sum;
            return;
        }
        const std::size_t i = order_[at];
        std::vector<std::pair<double, std::size_t>> branches;
        for (std::size_t block = 0; block < costs_.choices(i); ++block) {
            double more = costs_.fixed(i, block);
            for (const interference::link& to : costs_.links(i))
                if (std::find(order_.begin(), order_.begin() + static_cast<std::ptrdiff_t>(at), to.other) !=
                    order_.begin() + static_cast<std::ptrdiff_t>(at))
                    more +=
                        costs_.strength_of(i, to, plan_) * costs_.overlap_of(i, block, to.other, plan_[to.other].block);
            branches.push_back({more, block});
        }
        std::sort(branches.begin(), branches.end());
        for (const auto& [more, block] : branches) {
            plan_[i].block = block;
            go(at + 1, sum + more);
        }
    }

    const interference& costs_;
    assignment plan_;
    std::vector<std::size_t> order_;
    double least_ = 1e9;
    std::vector<double> rest_;
    std::uint64_t visited_ = 0;
};

// --- figures ------------------------------------------------------------------------------------------------------

struct figures {
    double own = 0, foreign = 0, total = 0;
    double width = 0;    // MHz at 5 GHz, mean
    double power = 0;    // dBm, mean
    double share = 0;    // sum of width over 1 + load: what a radio can expect where everybody waits for the others
    double changes = 0;  // radios
    double weak = 0;     // clients below the bound that were above it before
    int count = 0;
};

int weak_clients(const building& made, const model_limits& limits, const building& before) {
    int weak = 0;
    const views old = building_reports(before);
    for (std::size_t i = 0; i < old.size(); ++i)
        for (std::size_t r = 0; r < old[i].radios.size(); ++r)
            for (const station_view& client : old[i].radios[r].stations) {
                const int change = made.access_points[i].radios[r].power - before.access_points[i].radios[r].power;
                weak += client.rssi >= limits.min_signal && client.rssi + change < limits.min_signal ? 1 : 0;
            }
    return weak;
}

void add(figures& to, const building& made, const building& before, const model_limits& limits) {
    const views reports = building_reports(made);
    const plan_model model = build_model(reports, limits);
    const interference costs(model);
    const domain_cost cost = costs.cost(costs.present());
    to.own += cost.own;
    to.foreign += cost.foreign;
    to.total += cost.total();
    double width = 0;
    double power = 0;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        std::vector<std::string> own;
        for (const radio_view& radio : reports[i].radios)
            own.push_back(radio.vaps[0].mac);
        for (std::size_t r = 0; r < 2; ++r) {
            const radio_view& radio = reports[i].radios[r];
            const span here = channel_span(radio.channel, radio.bandwidth, radio.primary);
            to.share += radio.bandwidth / (1 + load_on(here, reports[i].heard, own));
            if (r == 1) width += radio.bandwidth;
            power += radio.power;
            const building_radio& was = before.access_points[i].radios[r];
            const building_radio& is = made.access_points[i].radios[r];
            to.changes += was.use == is.use && was.power == is.power ? 0 : 1;
        }
    }
    to.width += width / static_cast<double>(reports.size());
    to.power += power / static_cast<double>(2 * reports.size());
    to.weak += weak_clients(made, limits, before);
    ++to.count;
}

double per_building(const figures& f, double sum) { return sum / f.count; }

std::string percent(double part, double whole) {
    return whole > 0 ? std::to_string(std::lround(100 * (part / whole - 1))) + " %" : "-";
}

void print(const std::vector<std::pair<std::string, figures>>& rows, const char* yardstick) {
    const figures* alone = nullptr;
    for (const auto& row : rows)
        if (row.first == yardstick) alone = &row.second;
    table t({"method", "own", "foreign", "interference", "against alone", "with prices", "MHz at 5 GHz", "dBm", "share",
             "changes", "weakened clients"});
    for (const auto& [name, f] : rows) {
        const double n = f.count;
        t.add({name, two_digits(f.own / n), two_digits(f.foreign / n), two_digits((f.own + f.foreign) / n),
               percent(per_building(f, f.own + f.foreign), per_building(*alone, alone->own + alone->foreign)),
               two_digits(f.total / n), two_digits(f.width / n), two_digits(f.power / n),
               std::to_string(std::lround(f.share / n)), two_digits(f.changes / n), two_digits(f.weak / n)});
    }
    std::printf("%s\n", t.text().c_str());
}

// --- the runs -----------------------------------------------------------------------------------------------------

constexpr unsigned buildings = 20;

void compare(building_kind kind, int access_points) {
    const char* names[] = {"as it is",
                           "random",
                           "each alone, once",
                           "each alone, 5 rounds",
                           "colouring, 20 MHz",
                           "colouring, 40 MHz",
                           "planner",
                           "planner, powers as they are",
                           "planner, widths of alone",
                           "planner, 10 changes"};
    std::vector<std::pair<std::string, figures>> rows;
    for (const char* name : names)
        rows.push_back({name, {}});
    double worst = -1;
    const model_limits limits;
    for (unsigned seed = 1; seed <= buildings; ++seed) {
        const building made = make_building(kind, access_points, seed);
        const plan_model model = build_model(building_reports(made), limits);
        const interference costs(model);
        dice d(seed);
        std::size_t row = 0;
        add(rows[row++].second, made, made, limits);
        for (int draw = 0; draw < 10; ++draw)
            add(rows[row].second, at_random(made, costs, d), made, limits);
        ++row;
        const building alone = each_alone(made, 1);
        add(rows[row++].second, alone, made, limits);
        add(rows[row++].second, each_alone(made, 5), made, limits);
        add(rows[row++].second, coloured(made, costs, 20), made, limits);
        add(rows[row++].second, coloured(made, costs, 40), made, limits);
        const building planned = with(made, costs, find_plan(costs, {}));
        add(rows[row++].second, planned, made, limits);
        figures ours, theirs;
        add(ours, planned, made, limits);
        add(theirs, alone, made, limits);
        worst = std::max(worst, (ours.own + ours.foreign) / (theirs.own + theirs.foreign));
        plan_model loud = model;
        for (domain_radio& radio : loud.radios)
            radio.power = radio.now.power;
        const interference loud_costs(loud);
        add(rows[row++].second, with(made, loud_costs, find_plan(loud_costs, {})), made, limits);
        // With the widths and no more than the powers that each chose for itself.
        model_limits same = limits;
        same.keep_width = true;
        const plan_model kept = build_model(building_reports(alone), same);
        const interference kept_costs(kept);
        add(rows[row++].second, with(alone, kept_costs, find_plan(kept_costs, {})), made, limits);
        add(rows[row++].second, with(made, costs, find_plan(costs, {10, 0.1, 1, 1})), made, limits);
    }
    std::printf("%u buildings (%s) of %d access points, means:\n", buildings, building_kind_word(kind), access_points);
    print(rows, "each alone, once");
    std::printf("worst building: %s against each alone\n\n", percent(worst, 1).c_str());
}

void against_the_best(building_kind kind, int access_points) {
    double ours = 0;
    double best = 0;
    double worst = 0;
    int equal = 0;
    std::uint64_t visited = 0;
    for (unsigned seed = 1; seed <= buildings; ++seed) {
        const plan_model model = build_model(building_reports(make_building(kind, access_points, seed)), {});
        const interference costs(model);
        const assignment plan = find_plan(costs, {0, 0, 1, 1});
        const double cost = costs.cost(plan).total();
        double least = 0;
        for (const int band : {2, 5}) {
            exhaustive search(costs, plan, band);
            least += search.run();
            visited += search.visited();
        }
        ours += cost;
        best += least;
        worst = std::max(worst, least > 0 ? cost / least : 1);
        equal += cost <= least + 1e-9 ? 1 : 0;
    }
    std::printf(
        "%u buildings (%s) of %d access points: planner %.3f, best of all blocks %.3f, %.2f %% above; worst %.2f %%; "
        "the best itself in %d; %llu nodes searched\n",
        buildings, building_kind_word(kind), access_points, ours / buildings, best / buildings, 100 * (ours / best - 1),
        100 * (worst - 1), equal, static_cast<unsigned long long>(visited));
}

void time_of(int access_points) {
    const building made = make_building(building_kind::building, access_points, 1);
    const views reports = building_reports(made);
    plan_model model;
    const double modelled = seconds_of([&] { model = build_model(reports, {}); });
    const interference costs(model);
    double with_ten = 0;
    double cost = 0;
    const double planned = seconds_of([&] { cost = costs.cost(find_plan(costs, {})).total(); });
    with_ten = seconds_of([&] { find_plan(costs, {10, 0.1, 1, 1}); });
    std::printf("%d access points: model %.3f s, plan %.3f s, plan of 10 changes %.3f s (cost %.1f of %.1f)\n",
                access_points, modelled, planned, with_ten, cost, costs.cost(costs.present()).total());
}

}  // namespace
}  // namespace ravd::sim

int main(int argc, char** argv) {
    using namespace ravd::sim;
    const auto wanted = [&](const char* part) { return argc < 2 || std::strcmp(argv[1], part) == 0; };
    constexpr building_kind kinds[] = {building_kind::building, building_kind::office, building_kind::street};
    if (wanted("compare"))
        for (const building_kind kind : kinds)
            compare(kind, 30);
    if (wanted("best"))
        for (const building_kind kind : kinds)
            against_the_best(kind, 6);
    if (wanted("time"))
        for (const int access_points : {30, 100, 300})
            time_of(access_points);
}

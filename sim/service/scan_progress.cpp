#include "sim/service/scan_progress.h"

#include <algorithm>
#include <set>

#include "sim/common/text.h"
#include "sim/service/arguments.h"

namespace ravd::sim {
namespace {

constexpr std::size_t order_limit = 100;
constexpr int longest_delay = 1000000;
constexpr int patience = 10;  // seconds that a report may be late without a word

std::string seconds(int number) { return std::to_string(number) + " s"; }

int round_length(json_object* message, const std::vector<radio_view>& radios) {
    if (json_number(message, "quarn-rrm-scanning") != 0) return 6;
    std::vector<std::string> words;
    split_words(json_text(message, "rrm-scan-channels"), words);
    std::set<int> channels[2];
    for (const std::string& word : words) {
        int channel = 0;
        if (parse_int(word, channel) && channel >= 0) channels[channel < 36 ? 0 : 1].insert(channel);
    }
    int longest = 0;
    for (int radio = 0; radio < 2; ++radio) {
        const auto described =
            std::find_if(radios.begin(), radios.end(), [&](const radio_view& r) { return r.id == radio; });
        if (described != radios.end() && !described->active) continue;  // takes no part
        const int count = static_cast<int>(channels[radio].size());
        longest = std::max(longest, count > 0 ? count * 7 / 10 + 1 : radio == 0 ? 10 : 15);
    }
    return longest;
}

}  // namespace

void scan_progress::ordered(json_object* message, const std::vector<radio_view>& radios, double now) {
    scan next;
    const bool single = json_number(message, "quarn-rrm-scanning") != 0;
    next.delay = std::clamp(json_number(message, "rrm-scan-delay"), 0, longest_delay);
    next.rounds = single ? 1 : 5;
    next.round_length = round_length(message, radios);
    next.report_delay = single ? next.delay : 0;
    // A running scan makes the order wait; one that waits for its delay, or for its report only, makes room for it.
    if (!orders_.empty()) {
        const scan& current = orders_.front();
        const double since = now - begun_ - current.delay;
        if (since < 0 || since >= current.rounds * current.round_length + (current.report_delay > 0 ? 0 : patience))
            orders_.clear();
    }
    if (orders_.size() >= order_limit) return;
    orders_.push_back(next);
    if (orders_.size() == 1) begin(next, now);
}

void scan_progress::begin(const scan& next, double now) {
    begun_ = now;
    said_ = next.delay > 0 ? -1 : 0;
}

std::string scan_progress::stage(int number) const {
    const scan& current = orders_.front();
    const int rest = (current.rounds - number + 1) * current.round_length + current.report_delay;
    if (number == 0) return "scan: begins in " + seconds(current.delay);
    if (number <= current.rounds)
        return "scan: round " + std::to_string(number) + " of " + std::to_string(current.rounds) + ", " +
               seconds(current.round_length) + " each; the report is due in " + seconds(rest);
    if (number == current.rounds + 1)
        return "scan: all rounds are over; the report is due " +
               (current.report_delay > 0 ? "in " + seconds(current.report_delay) : "now");
    return "scan: the report is missing";
}

std::optional<scan_progress::state> scan_progress::current() const {
    if (orders_.empty()) return std::nullopt;
    const scan& first = orders_.front();
    return state{begun_, first.delay, first.rounds, first.round_length, first.report_delay, orders_.size() - 1};
}

std::string scan_progress::turn(double now) {
    if (orders_.empty()) return "";
    const scan& current = orders_.front();
    const double since = now - begun_ - current.delay;
    const int all_rounds = current.rounds * current.round_length;
    int number = 0;
    if (since >= all_rounds + current.report_delay + patience)
        number = current.rounds + 2;
    else if (since >= all_rounds)
        number = current.rounds + 1;
    else if (since >= 0)
        number = static_cast<int>(since) / std::max(current.round_length, 1) + 1;
    if (number <= said_) return "";
    said_ = number;
    return stage(number);
}

std::string scan_progress::reported(double now) {
    if (orders_.empty()) return "";
    // The times of a log may leap.
    const int took = static_cast<int>(std::clamp(now - begun_, 0.0, 1e9));
    orders_.pop_front();
    if (!orders_.empty()) begin(orders_.front(), now);
    return "scan: reported after " + seconds(took);
}

std::string scan_progress::given_up() {
    if (orders_.empty()) return "";
    orders_.clear();
    return "scan: ended with hostapd";
}

}  // namespace ravd::sim

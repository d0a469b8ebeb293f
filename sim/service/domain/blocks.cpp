#include "sim/service/domain/blocks.h"

#include <algorithm>

#include "sim/service/planner.h"

namespace ravd::sim {
namespace {

constexpr int widest = 80;
constexpr int max_channel = 233;

bool within(const model_limits& limits, int bandwidth) {
    return bandwidth >= limits.min_width && bandwidth <= limits.max_width;
}

bool available(const radio_view& radio, int channel) {
    return std::find(radio.available.begin(), radio.available.end(), channel) != radio.available.end();
}

bool whole(const radio_view& radio, int start, int bandwidth) {
    if (start == 0) return false;
    for (int channel = start; channel < start + bandwidth / 5; channel += 4)
        if (!available(radio, channel)) return false;
    return true;
}

double heard_on(int channel, const std::vector<foreign_signal>& foreign) {
    const span here = channel_span(channel, 20, "");
    double sum = 0;
    for (const foreign_signal& signal : foreign)
        sum += strength(signal.dbm) * overlap(here, channel_span(signal.channel, signal.bandwidth, signal.primary));
    return sum;
}

int quietest(int start, int bandwidth, const std::vector<foreign_signal>& foreign) {
    int best = start;
    double least = heard_on(start, foreign);
    for (int channel = start + 4; channel < start + bandwidth / 5; channel += 4) {
        const double sum = heard_on(channel, foreign);
        if (sum < least) {
            least = sum;
            best = channel;
        }
    }
    return best;
}

std::vector<block_choice> blocks_of_width(const radio_view& radio, int bandwidth,
                                          const std::vector<foreign_signal>& foreign, const model_limits& limits) {
    std::vector<block_choice> out;
    for (const int channel : radio.available) {
        if (channel <= 0 || channel > max_channel || band_of(channel) != radio.band) continue;
        radio_setup block = {channel, bandwidth, "none", 0};
        if (bandwidth > 20) {
            const int start = band_of(channel) == 2 ? 0 : block_start(channel, bandwidth);
            if (channel != start || !whole(radio, start, bandwidth)) continue;
            block.channel = quietest(start, bandwidth, foreign);
            if (bandwidth == 40) block.primary = block.channel == start ? "lower" : "upper";
        }
        out.push_back({block, price_of(block, limits)});
    }
    return out;
}

}  // namespace

double price_of(const radio_setup& block, const model_limits& limits) {
    double price = 0;
    if (band_of(block.channel) == 2) {
        if (block.channel != 1 && block.channel != 6 && block.channel != 11) price += limits.channel_price;
        return price;
    }
    for (int width = block.bandwidth; width > 0 && width < std::min(widest, limits.max_width); width *= 2)
        price += limits.width_price;
    if (needs_radar_detection(block.channel)) price += limits.channel_price;
    return price;
}

std::vector<block_choice> blocks_of(const radio_view& radio, const std::vector<foreign_signal>& foreign,
                                    const model_limits& limits) {
    std::vector<block_choice> out;
    if (limits.keep_width && radio.band == 5) return blocks_of_width(radio, radio.bandwidth, foreign, limits);
    for (const int bandwidth : {20, 40, 80}) {
        if (!within(limits, bandwidth) && !(radio.band == 2 && bandwidth == 20)) continue;
        const std::vector<block_choice> more = blocks_of_width(radio, bandwidth, foreign, limits);
        out.insert(out.end(), more.begin(), more.end());
    }
    for (int bandwidth = limits.min_width / 2; out.empty() && bandwidth >= 20; bandwidth /= 2)
        out = blocks_of_width(radio, bandwidth, foreign, limits);
    return out;
}

}  // namespace ravd::sim

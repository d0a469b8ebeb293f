#include "sim/common/channel_block.h"

#include <algorithm>

namespace ravd::sim {
namespace {

// MHz in the middle of a 20 MHz channel.
int centre_of(int channel) {
    if (channel == 14) return 2484;
    return band_of(channel) == 2 ? 2407 + 5 * channel : 5000 + 5 * channel;
}

// First channel of the upper band's run of channels, each four numbers on, that this one belongs to.
int run_start(int channel) { return channel >= 149 ? 149 : channel >= 100 ? 100 : 36; }

}  // namespace

channel_block block_of(const channel_use& use) {
    const int centre = centre_of(use.channel);
    channel_block block{centre - 10, centre + 10};
    if (use.bandwidth <= 20) return block;
    if (band_of(use.channel) == 2) {
        const bool upper = use.sideband == "upper" || (use.sideband != "lower" && use.channel > 9);
        (upper ? block.low : block.high) += upper ? -20 : 20;
        return block;
    }
    const int from_start = (use.channel - run_start(use.channel)) * 5;  // MHz
    block.low -= from_start % use.bandwidth;
    block.high = block.low + use.bandwidth;
    return block;
}

int shared_mhz(const channel_block& a, const channel_block& b) {
    return std::max(0, std::min(a.high, b.high) - std::max(a.low, b.low));
}

double covered_part(const channel_block& of, const channel_block& other) {
    return of.high > of.low ? static_cast<double>(shared_mhz(of, other)) / (of.high - of.low) : 0;
}

}  // namespace ravd::sim

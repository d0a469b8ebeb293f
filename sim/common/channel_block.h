// The channels that a transmission covers, and how much two transmissions cover of each other.
#pragma once

#include <string>

namespace ravd::sim {

// The channel a radio or a neighbour uses.
struct channel_use {
    int channel = 1;                // primary
    int bandwidth = 20;             // MHz: 20, 40 or 80
    std::string sideband = "none";  // "lower" or "upper" at 40 MHz; at 80 MHz it follows from the channel
};

inline bool operator==(const channel_use& a, const channel_use& b) {
    return a.channel == b.channel && a.bandwidth == b.bandwidth && a.sideband == b.sideband;
}

// Band in GHz, 2 or 5.
constexpr int band_of(int channel) { return channel < 30 ? 2 : 5; }

// A range of MHz.
struct channel_block {
    int low = 0;
    int high = 0;
};

// In the upper band the fixed blocks of two and four channels count, in the lower one the sideband (none: the half that
// exists, lower before upper). The channel is one that exists.
channel_block block_of(const channel_use& use);

// MHz that both cover.
int shared_mhz(const channel_block& a, const channel_block& b);

// 0 to 1: the part of `of` that `other` covers.
double covered_part(const channel_block& of, const channel_block& other);

}  // namespace ravd::sim

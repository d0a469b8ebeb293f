// Which channels exist and how the driver writes their state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ravd::sim {

// The channel a radio or a neighbour uses.
struct channel_use {
    int channel = 1;                // primary
    int bandwidth = 20;             // MHz: 20, 40 or 80
    std::string sideband = "none";  // "lower" or "upper" at 40 MHz; at 80 MHz it follows from the channel
};

// Band in GHz, 2 or 5.
constexpr int band_of(int channel) { return channel < 30 ? 2 : 5; }

// Channels that a radio of the band offers unless its scenario says otherwise.
const std::vector<int>& usual_channels(int band);

// The driver's word for a channel; nothing when there is no such channel. At 40 MHz an empty sideband, or "none", means
// the one that exists, lower before upper.
std::optional<std::uint32_t> make_chanspec(const channel_use& use);

// "lower", "upper" or, for other widths, "none".
std::string sideband_of(std::uint32_t chanspec);

}  // namespace ravd::sim

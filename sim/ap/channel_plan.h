// Which channels exist and how the driver writes their state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/common/channel_block.h"

namespace ravd::sim {

// The driver's word for a channel in use, as this driver writes it. Its layout stands here a second time, beside the
// daemon's own, so that an error in one of them shows.
//   bits 0-7    centre channel (20 MHz: the channel)
//   bits 8-10   control sideband: at 40 MHz lower, upper; at 80 MHz the four 20 MHz channels from the lowest
//   bits 11-13  bandwidth
constexpr std::uint32_t word_centre_mask = 0xff;
constexpr std::uint32_t word_sideband_mask = 0x700;
constexpr std::uint32_t word_bandwidth_mask = 0x3800;
constexpr std::uint32_t word_20_mhz = 2 << 11;
constexpr std::uint32_t word_40_mhz = 3 << 11;
constexpr std::uint32_t word_80_mhz = 4 << 11;
constexpr std::uint32_t word_40_upper = 1 << 8;

// Channels that a radio of the band offers unless its scenario says otherwise.
const std::vector<int>& usual_channels(int band);

// The word for a channel; nothing when there is no such channel. At 40 MHz an empty sideband, or "none", means
// the one that exists, lower before upper.
std::optional<std::uint32_t> make_chanspec(const channel_use& use);
// Control channel and MHz of a word that make_chanspec() gave.
int control_channel(std::uint32_t chanspec);
int bandwidth_of(std::uint32_t chanspec);

// "lower", "upper" or, for other widths, "none".
std::string sideband_of(std::uint32_t chanspec);
channel_use use_of(std::uint32_t chanspec);

}  // namespace ravd::sim

// Chanspec arithmetic. A chanspec is what the driver gives as the state of a channel, 16 bits in a 32-bit word:
//   bits 0-7    centre channel (20 MHz: the channel)
//   bits 8-10   control sideband: at 40 MHz lower, upper; at 80 MHz ll, lu, ul, uu
//   bits 11-13  bandwidth
// Pure functions; they take whatever the driver said.
#pragma once

#include <cstdint>

namespace ravd {

constexpr std::uint32_t chanspec_channel_mask = 0x00ff;
constexpr std::uint32_t chanspec_sideband_mask = 0x0700;
constexpr std::uint32_t chanspec_bandwidth_mask = 0x3800;

constexpr std::uint32_t chanspec_bw_20 = 0x1000;
constexpr std::uint32_t chanspec_bw_40 = 0x1800;
constexpr std::uint32_t chanspec_bw_80 = 0x2000;

constexpr std::uint32_t chanspec_sb_lower = 0x0000;  // at 80 MHz: ll
constexpr std::uint32_t chanspec_sb_upper = 0x0100;  // at 80 MHz: lu
constexpr std::uint32_t chanspec_sb_ul = 0x0200;
constexpr std::uint32_t chanspec_sb_uu = 0x0300;

// Control channel. The centre channel where the sideband has no meaning or would lead below channel 0.
std::uint32_t chanspec_ctl_channel(std::uint32_t chanspec);
// "none" unless the bandwidth is 40 MHz, then "lower" or "upper".
const char* chanspec_sideband(std::uint32_t chanspec);
// MHz. Without a known bandwidth: a warning, and 20.
std::uint32_t chanspec_bw(std::uint32_t chanspec);

// Band in GHz, 2 or 5.
std::uint32_t band_of_channel(std::uint32_t channel);
std::uint32_t band_of_chanspec(std::uint32_t chanspec);

// Selector of a sideband text (null is none): 0 none, 1 lower, 2 upper.
int parse_sideband(const char* text);
// Text of sideband bits at a bandwidth in MHz; "none" for what has none.
const char* sideband_name(std::uint32_t sideband, std::uint32_t bandwidth_mhz);

}  // namespace ravd

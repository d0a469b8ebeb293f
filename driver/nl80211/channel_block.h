// Channels as mainline Linux and the frames of the air tell them, in the terms of this system. Pure functions.
#pragma once

#include <cstdint>
#include <optional>

#include "driver/records.h"
#include "platform/nl80211.h"

namespace ravd {

// The channels that a BSS takes.
struct channel_block {
    std::uint32_t bandwidth = 20;  // MHz: 20, 40, 80
    std::uint32_t centre = 0;      // channel number
    std::uint32_t sideband = 0;    // of the primary channel, as chanspec bits
};

// Block of a primary channel, a width in MHz and its centre channel; nothing where the three do not belong together. A
// chanspec has no 160 MHz: of such a block it is the half with the primary channel.
std::optional<channel_block> block_of(std::uint32_t primary, std::uint32_t width, std::uint32_t centre);
std::uint32_t chanspec_of(const channel_block& block);
// Of an interface; 0 where it has no channel, or one that a chanspec cannot tell.
std::uint32_t chanspec_of(const wireless_interface& interface);

// Channels on which the rules let an access point begin at once, which leaves out those to be listened on for radar
// first. `band`: in GHz, 2 or 5; 0 means both.
channel_set usable_channels(const phy_info& phy, std::uint32_t band);
// Frequencies of the channels that may be listened on: of all in the band when none is named.
std::vector<std::uint32_t> scan_frequencies(const phy_info& phy, std::uint32_t band, const channel_set& channels);

// Operating class of a 20 MHz channel, worldwide table; 0 for no channel.
std::uint32_t operating_class_of(std::uint32_t channel);

}  // namespace ravd

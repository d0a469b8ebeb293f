// What the elements of a beacon or probe response, and the extended capabilities of a station, tell. They come from
// anybody on the air: nothing in them is believed that does not fit the rest. Pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "driver/nl80211/channel_block.h"

namespace ravd {

struct bss_description {
    channel_block block;
    std::int32_t tx_power = 0;  // dBm, as the BSS tells it; 0: it does not
};

// Describes a BSS that was heard with this primary channel: its block from the operation elements of HT and VHT, 20 MHz
// where they say nothing, or something that does not go with the channel. The first element of a kind counts; reading
// ends at one that does not fit `length`.
bss_description describe_bss(const std::uint8_t* elements, std::size_t length, std::uint32_t channel);

// Whether extended capabilities, in hexadecimal digits as hostapd shows them, have the bit of BSS transition.
bool has_bss_transition(std::string_view hexadecimal);

}  // namespace ravd

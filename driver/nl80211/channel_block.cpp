#include "driver/nl80211/channel_block.h"

#include <cstdlib>

#include "driver/chanspec.h"

namespace ravd {
namespace {

bool is_in_band(std::uint32_t channel, std::uint32_t band) {
    return channel != 0 && (band == 0 || band_of_channel(channel) == band);
}

}  // namespace

std::optional<channel_block> block_of(std::uint32_t primary, std::uint32_t width, std::uint32_t centre) {
    const int offset = static_cast<int>(primary) - static_cast<int>(centre);
    const int distance = std::abs(offset);
    switch (width) {
        case 20:
            if (offset != 0) return std::nullopt;
            return channel_block{20, centre, 0};
        case 40:
            if (distance != 2) return std::nullopt;
            return channel_block{40, centre, offset < 0 ? chanspec_sb_lower : chanspec_sb_upper};
        case 80:
            if (distance != 2 && distance != 6) return std::nullopt;
            return channel_block{80, centre, static_cast<std::uint32_t>((offset + 6) / 4) << 8};
        case 160:
            if (distance > 14) return std::nullopt;
            return block_of(primary, 80, offset < 0 ? centre - 8 : centre + 8);
        default:
            return std::nullopt;
    }
}

std::uint32_t chanspec_of(const channel_block& block) {
    const std::uint32_t width = block.bandwidth == 80   ? chanspec_bw_80
                                : block.bandwidth == 40 ? chanspec_bw_40
                                                        : chanspec_bw_20;
    return width | block.sideband | (block.centre & chanspec_channel_mask);
}

std::uint32_t chanspec_of(const wireless_interface& interface) {
    const std::uint32_t primary = channel_of_frequency(interface.frequency);
    const auto block = block_of(primary, interface.width, channel_of_frequency(interface.centre));
    return primary != 0 && block ? chanspec_of(*block) : 0;
}

channel_set usable_channels(const phy_info& phy, std::uint32_t band) {
    channel_set channels;
    for (const phy_band& one : phy.bands)
        for (const phy_channel& channel : one.channels) {
            const std::uint32_t number = channel_of_frequency(channel.frequency);
            if (!channel.disabled && !channel.no_ir && !channel.radar && is_in_band(number, band))
                channels.insert(number);
        }
    return channels;
}

std::vector<std::uint32_t> scan_frequencies(const phy_info& phy, std::uint32_t band, const channel_set& channels) {
    std::vector<std::uint32_t> frequencies;
    for (const phy_band& one : phy.bands)
        for (const phy_channel& channel : one.channels) {
            const std::uint32_t number = channel_of_frequency(channel.frequency);
            const bool asked = channels.empty() ? is_in_band(number, band) : channels.count(number) != 0;
            if (asked && number != 0 && !channel.disabled) frequencies.push_back(channel.frequency);
        }
    return frequencies;
}

std::uint32_t operating_class_of(std::uint32_t channel) {
    if (channel == 0) return 0;
    if (channel <= 13) return 81;
    if (channel == 14) return 82;
    if (channel >= 36 && channel <= 48) return 115;
    if (channel >= 52 && channel <= 64) return 118;
    if (channel >= 100 && channel <= 144) return 121;
    if (channel >= 149 && channel <= 161) return 124;
    return channel >= 165 && channel <= 177 ? 125 : 0;
}

}  // namespace ravd

#include "hostd/channel.h"

namespace ravd::hostd {
namespace {

constexpr std::uint32_t beacons_before_switch = 5;
constexpr std::uint16_t ht_40_mhz = 1u << 1;

// Blocks of four channels begin at 36 and at 149.
std::uint32_t first_of_band_part(std::uint32_t channel) { return channel >= 149 ? 149 : 36; }

bool is_upper(const channel_use& use) {
    if (use.channel <= 14) return use.upper;
    return (use.channel - first_of_band_part(use.channel)) / 4 % 2 == 1;
}

// Lowest 20 MHz channel of those that a use takes.
std::uint32_t lowest_of(const channel_use& use) {
    if (use.width == 80) {
        const std::uint32_t first = first_of_band_part(use.channel);
        return first + (use.channel - first) / 16 * 16;
    }
    return use.width == 40 && is_upper(use) ? use.channel - 4 : use.channel;
}

const phy_channel* find(const phy_info& phy, std::uint32_t frequency, const phy_band*& band) {
    for (const phy_band& one : phy.bands)
        for (const phy_channel& channel : one.channels)
            if (channel.frequency == frequency) {
                band = &one;
                return &channel;
            }
    return nullptr;
}

// Why a radio cannot take one of the 20 MHz channels; empty when it can.
std::string refusal(const phy_channel* channel, std::uint32_t frequency) {
    const std::string name = std::to_string(frequency) + " MHz";
    if (!channel) return "the radio has no channel at " + name;
    if (channel->disabled) return "the country's rules forbid " + name;
    if (channel->radar) return "radar has to be looked for first at " + name;
    if (channel->no_ir) return "the country's rules let nobody begin to send at " + name;
    return {};
}

// Why the primary channel cannot be used with this width; empty when it can.
std::string width_refusal(const channel_use& use, const phy_band& band, const phy_channel& channel,
                          const access_point_modes& modes) {
    const bool upper = is_upper(use);
    switch (use.width) {
        case 20:
            return {};
        case 40:
            if (!band.ht_capabilities || !(*band.ht_capabilities & ht_40_mhz) || !modes.ht)
                return "40 MHz is not to be had: the radio or hostapd's configuration lacks it";
            if (upper ? channel.no_ht40_minus : channel.no_ht40_plus)
                return std::string("no second channel is permitted ") + (upper ? "below" : "above");
            return {};
        case 80:
            if (!band.vht_capabilities || !(modes.vht || modes.he) || use.channel <= 14)
                return "80 MHz is not to be had: the radio or hostapd's configuration lacks it";
            return channel.no_80 ? "80 MHz is not permitted" : "";
        default:
            return "a width of " + std::to_string(use.width) + " MHz is not known";
    }
}

}  // namespace

bool same_channel(const channel_use& a, const channel_use& b) {
    if (a.channel != b.channel || a.width != b.width) return false;
    return a.width != 40 || is_upper(a) == is_upper(b);
}

channel_use channel_of(const wireless_interface& interface) {
    channel_use use;
    use.channel = channel_of_frequency(interface.frequency);
    use.width = interface.width == 0 ? 20 : interface.width;
    use.upper = use.width == 40 && interface.centre < interface.frequency;
    return use;
}

std::string channel_switch_order(const channel_use& use, const phy_info& phy, const access_point_modes& modes,
                                 std::string& reason) {
    const phy_band* band = nullptr;
    const std::uint32_t primary = frequency_of_channel(use.channel);
    const phy_channel* channel = primary == 0 ? nullptr : find(phy, primary, band);
    reason = primary == 0 ? "there is no channel " + std::to_string(use.channel) : refusal(channel, primary);
    if (reason.empty() && band && channel) reason = width_refusal(use, *band, *channel, modes);
    if (!reason.empty()) return {};
    const std::uint32_t parts = use.width / 20;
    // The lowest one may lie outside the band: then there is no channel at its frequency.
    const std::uint32_t lowest = primary - 5 * (use.channel - lowest_of(use));
    for (std::uint32_t i = 0; i < parts && reason.empty(); ++i) {
        const phy_band* other_band = nullptr;
        reason = refusal(find(phy, lowest + 20 * i, other_band), lowest + 20 * i);
    }
    if (!reason.empty()) return {};

    std::string order = "CHAN_SWITCH " + std::to_string(beacons_before_switch) + " " + std::to_string(primary);
    if (use.width > 20) order += is_upper(use) ? " sec_channel_offset=-1" : " sec_channel_offset=1";
    order += " center_freq1=" + std::to_string(lowest + 10 * (parts - 1)) + " bandwidth=" + std::to_string(use.width);
    if (modes.ht) order += " ht";
    if (modes.vht && use.channel > 14) order += " vht";
    if (modes.he) order += " he";
    return order;
}

}  // namespace ravd::hostd

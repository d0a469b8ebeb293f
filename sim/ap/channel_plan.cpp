#include "sim/ap/channel_plan.h"

namespace ravd::sim {
namespace {

// First channel of the block of 20 MHz channels, each four numbers on, that a 5 GHz channel belongs to; 0 for none.
int block_of(int channel) {
    if (channel >= 36 && channel <= 64) return 36;
    if (channel >= 100 && channel <= 144) return 100;
    if (channel >= 149 && channel <= 165) return 149;
    return 0;
}

std::uint32_t word(int centre, std::uint32_t sideband, std::uint32_t bandwidth) {
    return static_cast<std::uint32_t>(centre) | sideband | bandwidth;
}

std::optional<std::uint32_t> wide_2g(const channel_use& use) {
    if (use.bandwidth != 40) return std::nullopt;
    const bool lower_fits = use.channel + 4 <= 13;
    const bool upper_fits = use.channel - 4 >= 1;
    const bool any = use.sideband.empty() || use.sideband == "none";
    if (lower_fits && (any || use.sideband == "lower")) return word(use.channel + 2, 0, word_40_mhz);
    if (upper_fits && (any || use.sideband == "upper")) return word(use.channel - 2, word_40_upper, word_40_mhz);
    return std::nullopt;
}

std::optional<std::uint32_t> wide_5g(const channel_use& use, int first) {
    const int position = (use.channel - first) / 4;
    if (use.channel == 165) return std::nullopt;
    if (use.bandwidth == 40) {
        const bool lower = position % 2 == 0;
        const bool any = use.sideband.empty() || use.sideband == "none";
        if (!any && (use.sideband == "lower") != lower) return std::nullopt;
        return lower ? word(use.channel + 2, 0, word_40_mhz) : word(use.channel - 2, word_40_upper, word_40_mhz);
    }
    const int centre = first + position / 4 * 16 + 6;
    return word(centre, static_cast<std::uint32_t>(position % 4) << 8, word_80_mhz);
}

}  // namespace

const std::vector<int>& usual_channels(int band) {
    static const std::vector<int> low{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    static const std::vector<int> high{36,  40,  44,  48,  52,  56,  60,  64,  100, 104, 108, 112,
                                       116, 120, 124, 128, 132, 136, 140, 149, 153, 157, 161, 165};
    return band == 2 ? low : high;
}

std::optional<std::uint32_t> make_chanspec(const channel_use& use) {
    const bool low = use.channel >= 1 && use.channel <= 14;
    const int first = low ? 0 : block_of(use.channel);
    if (!low && (first == 0 || (use.channel - first) % 4 != 0)) return std::nullopt;
    if (use.bandwidth == 20) return word(use.channel, 0, word_20_mhz);
    if (use.bandwidth != 40 && use.bandwidth != 80) return std::nullopt;
    return low ? wide_2g(use) : wide_5g(use, first);
}

int bandwidth_of(std::uint32_t chanspec) {
    const std::uint32_t width = chanspec & word_bandwidth_mask;
    return width == word_80_mhz ? 80 : width == word_40_mhz ? 40 : 20;
}

int control_channel(std::uint32_t chanspec) {
    const int centre = static_cast<int>(chanspec & word_centre_mask);
    const int place =
        static_cast<int>((chanspec & word_sideband_mask) >> 8);  // of the control channel, from the lowest
    const int first = centre - (bandwidth_of(chanspec) - 20) / 10;
    return first + 4 * place;
}

std::string sideband_of(std::uint32_t chanspec) {
    if ((chanspec & word_bandwidth_mask) != word_40_mhz) return "none";
    return (chanspec & word_sideband_mask) == word_40_upper ? "upper" : "lower";
}

channel_use use_of(std::uint32_t chanspec) {
    return {control_channel(chanspec), bandwidth_of(chanspec), sideband_of(chanspec)};
}

}  // namespace ravd::sim

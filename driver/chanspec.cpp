#include "driver/chanspec.h"

#include <cstring>

#include "core/logger.h"

namespace ravd {
namespace {

// Control channel minus centre channel, as the sideband bits tell; 0 where they have no meaning.
std::int32_t control_offset(std::uint32_t chanspec) {
    const std::uint32_t sideband = (chanspec & chanspec_sideband_mask) >> 8;
    switch (chanspec & chanspec_bandwidth_mask) {
        case chanspec_bw_40:
            return sideband > 1 ? 0 : static_cast<std::int32_t>(sideband) * 4 - 2;
        case chanspec_bw_80:
            return sideband > 3 ? 0 : static_cast<std::int32_t>(sideband) * 4 - 6;
        default:
            return 0;
    }
}

}  // namespace

std::uint32_t chanspec_ctl_channel(std::uint32_t chanspec) {
    const auto centre = static_cast<std::int32_t>(chanspec & chanspec_channel_mask);
    const std::int32_t control = centre + control_offset(chanspec);
    return static_cast<std::uint32_t>(control < 0 ? centre : control);
}

const char* chanspec_sideband(std::uint32_t chanspec) {
    if ((chanspec & chanspec_bandwidth_mask) != chanspec_bw_40) return "none";
    return (chanspec & chanspec_sideband_mask) == chanspec_sb_upper ? "upper" : "lower";
}

std::uint32_t chanspec_bw(std::uint32_t chanspec) {
    switch (chanspec & chanspec_bandwidth_mask) {
        case chanspec_bw_20:
            return 20;
        case chanspec_bw_40:
            return 40;
        case chanspec_bw_80:
            return 80;
        default:
            log_warning(process_log, "<%s:%d> bandwidth is not set in chanspec\n", __func__, __LINE__);
            return 20;
    }
}

std::uint32_t band_of_channel(std::uint32_t channel) { return channel < 30 ? 2 : 5; }
std::uint32_t band_of_chanspec(std::uint32_t chanspec) { return band_of_channel(chanspec_ctl_channel(chanspec)); }

int parse_sideband(const char* text) {
    if (!text) return 0;
    if (std::strchr(text, 'u')) return 2;
    return std::strchr(text, 'l') ? 1 : 0;
}

const char* sideband_name(std::uint32_t sideband, std::uint32_t bandwidth_mhz) {
    static constexpr const char* names_40[] = {"lower", "upper"};
    static constexpr const char* names_80[] = {"ll", "lu", "ul", "uu"};
    const std::uint32_t index = sideband >> 8;
    if ((sideband & 0xff) != 0) return "none";
    if (bandwidth_mhz == 40 && index < 2) return names_40[index];
    if (bandwidth_mhz == 80 && index < 4) return names_80[index];
    return "none";
}

}  // namespace ravd

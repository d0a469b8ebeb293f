// Elements of beacons and probe responses, extended capabilities of stations, and hostapd's lists. The first byte
// chooses the reader, the second is the channel.
//
// Aims at: driver/nl80211/bss_elements.cpp

#include "driver/nl80211/bss_elements.h"

#include <cstdint>
#include <string>

#include "driver/chanspec.h"
#include "driver/nl80211/hostapd_text.h"
#include "fuzz/check.h"

namespace {

void check_description(const ravd::bss_description& bss, std::uint32_t channel) {
    const ravd::channel_block& block = bss.block;
    check(block.bandwidth == 20 || block.bandwidth == 40 || (block.bandwidth == 80 && channel > 14));
    // What is believed tells the channel on which the frame was heard.
    const std::uint32_t chanspec = ravd::chanspec_of(block);
    check(ravd::chanspec_bw(chanspec) == block.bandwidth && ravd::chanspec_ctl_channel(chanspec) == channel);
    check((block.sideband & ~ravd::chanspec_sideband_mask) == 0 && bss.tx_power >= -128 && bss.tx_power <= 127);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint8_t last_channel = 185;
    if (size < 2 || data[1] == 0 || data[1] > last_channel) return 0;
    const std::uint32_t channel = data[1];
    const std::string text(reinterpret_cast<const char*>(data + 2), size - 2);
    switch (data[0]) {
        case '0':
            check_description(ravd::describe_bss(data + 2, size - 2, channel), channel);
            break;
        case '1':
            if (ravd::has_bss_transition(text)) check(text.size() >= 6);
            break;
        default:
            // What was listed goes back into requests, and must stay one line each.
            for (const ravd::listed_neighbour& one : ravd::read_neighbour_list(text)) {
                const std::string request = ravd::remove_neighbour_request(one);
                check(request.size() <= 33 + 6 + 64 && request.find_first_of("\n\r\"") == request.npos);
            }
            check(ravd::find_value(text, "ext_capab").find('\n') == std::string::npos);
    }
    return 0;
}

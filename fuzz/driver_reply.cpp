// Replies of the Wi-Fi driver to custom commands.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "driver/realtek/quarn_command.h"

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of its own, so that reading beyond the record is seen.
    static const auto record = std::make_unique<ravd::quarn_command_t>();
    std::memset(record->bytes, 0, sizeof record->bytes);
    std::memcpy(record->bytes, data, std::min(size, sizeof record->bytes));

    // One command each, as the number at the start says: small inputs with high counts are slow enough.
    ravd::ap_table table;
    switch (record->bytes[0]) {
        case ravd::QUARN_CMD_CUSTOM_SCAN_RESULTS:
            ravd::parse_scan_result(*record, table);
            break;
        case ravd::QUARN_CMD_RRM_SCAN_RESULTS:
            ravd::parse_rrm_scan_result(*record, table);
            for (const ravd::scan_record& ap : table)
                check(ap.channel <= 255 + 6 && ap.bandwidth % 20 == 0 && ap.bandwidth <= 80);
            break;
        case ravd::QUARN_CMD_GET_ASSOC_STAS: {
            std::vector<ravd::rrm_sta_s> stations;
            ravd::parse_assoc_sta(*record, stations);
            check(stations.size() <= 4680);
            for (const auto& sta : stations)
                check(sta.mac.size() == 17 && std::count(sta.readings.begin(), sta.readings.end(), sta.rssi));
            break;
        }
        default: {
            ravd::channel_set channels;
            ravd::parse_available_channels(*record, channels);
            check(channels.size() <= 32765);
            ravd::fill_scan_channels(*record, channels);
        }
    }
    check(table.size() <= 4680);
    for (const ravd::scan_record& ap : table)
        check((ap.sideband & ~0x700u) == 0);
    return 0;
}

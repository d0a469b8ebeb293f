// Replies of the Wi-Fi driver to custom commands.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "driver/quarn_command.h"

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

    ravd::ap_table table;
    ravd::parse_scan_result(*record, table);
    const std::size_t scanned = table.size();
    ravd::parse_rrm_scan_result(*record, table);
    check(scanned <= 4680 && table.size() == 2 * scanned);
    for (const ravd::scan_record& ap : table)
        check((ap.sideband & ~0x700u) == 0);
    for (std::size_t i = scanned; i < table.size(); ++i)
        check(table[i].channel <= 255 + 6 && table[i].bandwidth % 20 == 0 && table[i].bandwidth <= 80);

    std::vector<ravd::rrm_sta_realtek> stations;
    ravd::parse_assoc_sta(*record, stations);
    check(stations.size() <= 4680);
    for (const auto& station : stations)
        check(station.mac.size() == 17 && std::count(station.readings.begin(), station.readings.end(), station.rssi));

    ravd::channel_set channels;
    ravd::parse_available_channels(*record, channels);
    check(channels.size() <= 32765);
    ravd::fill_scan_channels(*record, channels);
    return 0;
}

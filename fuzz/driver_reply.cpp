// Replies of the Wi-Fi driver to custom commands. A record is as long as the input, in a block of its own, so that
// reading beyond it is seen, and no run works on more than there is.
//
// Aims at: driver/realtek/quarn_command.cpp

#include <algorithm>
#include <vector>

#include "driver/realtek/quarn_command.h"
#include "fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<unsigned char> block(data, data + size);
    const ravd::reply_view record(block.data(), block.size());
    const unsigned command = size == 0 ? 0 : data[0];
    const bool rrm = command == ravd::QUARN_CMD_RRM_SCAN_RESULTS;
    if (rrm || command == ravd::QUARN_CMD_CUSTOM_SCAN_RESULTS) {
        ravd::ap_table table;
        rrm ? ravd::parse_rrm_scan_result(record, table) : ravd::parse_scan_result(record, table);
        check(table.size() <= size / ravd::scan_reply.entry_size);
        for (const ravd::scan_record& ap : table) {
            check((ap.sideband & ~0x700u) == 0);
            check(!rrm || (ap.channel <= 255 + 6 && ap.bandwidth % 20 == 0 && ap.bandwidth <= 80));
        }
    } else if (command == ravd::QUARN_CMD_GET_ASSOC_STAS) {
        std::vector<ravd::rrm_sta_s> stations;
        ravd::parse_assoc_sta(record, stations);
        check(stations.size() <= size / ravd::station_reply.entry_size);
        for (const auto& sta : stations)
            check(sta.mac.size() == 17 && std::count(sta.readings.begin(), sta.readings.end(), sta.rssi));
    } else {
        static ravd::quarn_command_t order;  // written and never read: what is not touched costs nothing
        ravd::channel_set channels;
        ravd::parse_available_channels(record, channels);
        check(channels.size() <= size / ravd::channel_reply.entry_size);
        ravd::fill_scan_channels(order, channels);
    }
    return 0;
}

// The record that carries a custom command to the driver and its reply back.
//
// Layout, little-endian as the host: the command number at 0; counts and capacities at 4 and 8; entries behind them.
// What the driver writes is not trusted: however high a count, only entries inside the record are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "driver/records.h"

namespace ravd {

// clang-format off
enum quarn_cmd : std::uint32_t {
    QUARN_CMD_CUSTOM_SCAN = 0,             // request: +4 number of channels, +8 channels of 16 bits
    QUARN_CMD_CUSTOM_SCAN_STOP = 1,
    QUARN_CMD_CUSTOM_SCAN_RESULTS = 2,     // request: +4 capacity; reply: +4 count, +8 entries of 28 bytes
    QUARN_CMD_RRM_SCAN_RESULTS = 3,        // the same
    QUARN_CMD_GET_ASSOC_STAS = 4,          // request: +8 capacity; reply: +8 count, +12 entries of 28 bytes
    QUARN_CMD_GET_AVAILABLE_CHANNELS = 5,  // request: +4 capacity; reply: +4 count, +8 channels of 32 bits
    QUARN_CMD_MAX = 6,
};
// clang-format on

// Name for the log; "UNKNOWN" for numbers of 7 and more.
const char* quarn_command_name(std::uint32_t command);

struct quarn_command_t {
    unsigned char bytes[131070];
};

// A record as it came back, and how long it is: no parser reads beyond. The driver's own has the whole length; a
// shorter one holds what fits.
struct reply_view {
    reply_view(const quarn_command_t& record) : bytes(record.bytes), size(sizeof record.bytes) {}
    reply_view(const unsigned char* start, std::size_t length) : bytes(start), size(length) {}

    const unsigned char* bytes;
    std::size_t size;
};

// Layout of one kind of reply.
struct reply_layout {
    std::size_t count_at;
    std::size_t entries_at;
    std::size_t entry_size;
};
constexpr reply_layout scan_reply{4, 8, 28};
constexpr reply_layout station_reply{8, 12, 28};
constexpr reply_layout channel_reply{4, 8, 4};

// Capacities are asked for as twice the entries that the record could hold.
constexpr std::uint32_t capacity_factor = 2;

// Filling of requests. `factor` and `size` are what the capacity is counted from; it is written where the reply will
// have its count.
void fill_command(quarn_command_t& record, std::uint32_t command);
void fill_capacity(quarn_command_t& record, const reply_layout& layout, std::uint32_t factor, std::uint32_t size);
// Writes as many channels as the record holds, ascending; what does not fit 16 bits is left out.
void fill_scan_channels(quarn_command_t& record, const channel_set& channels);
// Number of channels that fill_scan_channels writes.
std::uint32_t scan_channel_count(const channel_set& channels);

// Reading of replies; each appends to its container, and says in the log when there is nothing. A request that comes
// back as it went out holds nothing.
void parse_scan_result(reply_view record, ap_table& table);
void parse_rrm_scan_result(reply_view record, ap_table& table);
void parse_available_channels(reply_view record, channel_set& channels);
void parse_assoc_sta(reply_view record, std::vector<rrm_sta_s>& stations);

}  // namespace ravd

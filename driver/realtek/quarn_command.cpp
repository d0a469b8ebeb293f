#include "driver/realtek/quarn_command.h"

#include <algorithm>
#include <cstring>

#include "core/logger.h"
#include "driver/chanspec.h"
#include "message/mac_addr.h"

namespace ravd {
namespace {

constexpr std::size_t record_size = sizeof(quarn_command_t);
constexpr std::uint32_t largest_channel = 0xffff;
constexpr std::size_t channel_capacity = (record_size - scan_reply.entries_at) / sizeof(std::uint16_t);

// Fields lie unaligned.
template <typename T>
T load(const unsigned char* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <typename T>
void store(unsigned char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

std::uint32_t capacity(const reply_layout& layout, std::uint32_t factor, std::uint32_t size) {
    const std::uint32_t header = 12;  // of the longest reply
    return (size - header) / static_cast<std::uint32_t>(layout.entry_size) * factor;
}

// A driver may report success and write nothing: then the request's capacity, which is more than the record holds,
// still stands where the count belongs, with zeros behind it.
bool is_unwritten(reply_view record, const reply_layout& layout, std::uint32_t count) {
    if (count != capacity(layout, capacity_factor, static_cast<std::uint32_t>(record.size))) return false;
    for (std::size_t i = 0; i < layout.entry_size; ++i)
        if (record.bytes[layout.entries_at + i] != 0) return false;
    return true;
}

// Number of entries in a reply, bounded by the record.
std::size_t entry_count(reply_view record, const reply_layout& layout) {
    if (record.size < layout.entries_at + layout.entry_size) return 0;
    const std::size_t held = (record.size - layout.entries_at) / layout.entry_size;
    const auto count = load<std::uint32_t>(record.bytes + layout.count_at);
    return is_unwritten(record, layout, count) ? 0 : std::min<std::size_t>(count, held);
}

// Calls `read` with each entry of a reply. False when there is none.
template <typename Read>
bool for_each_entry(reply_view record, const reply_layout& layout, Read read) {
    const std::size_t count = entry_count(record, layout);
    for (std::size_t i = 0; i < count; ++i)
        read(record.bytes + layout.entries_at + i * layout.entry_size);
    return count != 0;
}

// Appends a record for each entry of a scan reply and has `read` fill it. False when there is no entry.
template <typename Read>
bool append_entries(reply_view record, ap_table& table, Read read) {
    const std::size_t count = entry_count(record, scan_reply);
    table.resize(table.size() + count);
    scan_record* ap = table.data() + (table.size() - count);
    for_each_entry(record, scan_reply, [&ap, read](const unsigned char* entry) {
        std::memcpy(ap->bssid.data(), entry, ap->bssid.size());
        ap->rssi = load<std::int32_t>(entry + 8);
        read(entry, *ap++);
    });
    return count != 0;
}

}  // namespace

const char* quarn_command_name(std::uint32_t command) {
    static constexpr const char* names[] = {"QUARN_CMD_CUSTOM_SCAN",
                                            "QUARN_CMD_CUSTOM_SCAN_STOP",
                                            "QUARN_CMD_CUSTOM_SCAN_RESULTS",
                                            "QUARN_CMD_RRM_SCAN_RESULTS",
                                            "QUARN_CMD_GET_ASSOC_STAS",
                                            "QUARN_CMD_GET_AVAILABLE_CHANNELS",
                                            "QUARN_CMD_MAX"};
    return command < std::size(names) ? names[command] : "UNKNOWN";
}

void fill_command(quarn_command_t& record, std::uint32_t command) { store(record.bytes, command); }

void fill_capacity(quarn_command_t& record, const reply_layout& layout, std::uint32_t factor, std::uint32_t size) {
    store(record.bytes + layout.count_at, capacity(layout, factor, size));
}

void fill_scan_channels(quarn_command_t& record, const channel_set& channels) {
    const std::uint32_t count = scan_channel_count(channels);
    store(record.bytes + scan_reply.count_at, count);
    unsigned char* at = record.bytes + scan_reply.entries_at;
    auto channel = channels.begin();
    for (std::uint32_t i = 0; i < count; ++i, ++channel, at += sizeof(std::uint16_t))
        store(at, static_cast<std::uint16_t>(*channel));
}

std::uint32_t scan_channel_count(const channel_set& channels) {
    // Ascending: the channels that fit come first, and there are no more of them than 16 bits can tell.
    const auto end = channels.upper_bound(largest_channel);
    const auto count = static_cast<std::size_t>(std::distance(channels.begin(), end));
    return static_cast<std::uint32_t>(std::min(count, channel_capacity));
}

void parse_scan_result(reply_view record, ap_table& table) {
    const bool any = append_entries(record, table, [](const unsigned char* entry, scan_record& ap) {
        ap.channel = load<std::uint32_t>(entry + 12);
        ap.bandwidth = load<std::uint32_t>(entry + 16);
        ap.tx_power = 0;
        ap.sideband = load<std::uint16_t>(entry + 24) & chanspec_sideband_mask;
    });
    if (!any) log_info(process_log, "<%s:%d> scanning result are absent\n", __func__, __LINE__);
}

void parse_rrm_scan_result(reply_view record, ap_table& table) {
    const bool any = append_entries(record, table, [](const unsigned char* entry, scan_record& ap) {
        const std::uint32_t chanspec = load<std::uint16_t>(entry + 24);
        ap.channel = chanspec_ctl_channel(chanspec);
        ap.bandwidth = chanspec_bw(chanspec);
        ap.tx_power = load<std::int32_t>(entry + 20) / 4;  // from quarters
        ap.sideband = chanspec & chanspec_sideband_mask;
    });
    if (!any) log_info(process_log, "<%s:%d> rrm scanning result are absent\n", __func__, __LINE__);
}

void parse_available_channels(reply_view record, channel_set& channels) {
    const bool any = for_each_entry(record, channel_reply, [&channels](const unsigned char* entry) {
        channels.insert(load<std::uint32_t>(entry));
    });
    if (!any) log_error(process_log, "<%s:%d> available channels data are absent\n", __func__, __LINE__);
}

void parse_assoc_sta(reply_view record, std::vector<rrm_sta_s>& stations) {
    const bool any = for_each_entry(record, station_reply, [&stations](const unsigned char* m) {
        rrm_sta_s& station = stations.emplace_back();
        station.mac = MacAddr{{m[0], m[1], m[2], m[3], m[4], m[5]}}.to_lower();
        log_debug(process_log, "mac == %s\n", station.mac.c_str());
        for (std::size_t i = 0; i < station.readings.size(); ++i)
            // Unsigned, since the driver may say anything: wraps instead of overflowing.
            station.readings[i] = static_cast<std::int32_t>(load<std::uint32_t>(m + 8 + 4 * i) - 100u);
        station.rssi = *std::max_element(station.readings.begin(), station.readings.end());
        station.roam_attempts = m[24];
        station.no_80211v = m[25] != 0;
    });
    if (!any) log_info(process_log, "<%s:%d> associated clients are absent\n", __func__, __LINE__);
}

}  // namespace ravd

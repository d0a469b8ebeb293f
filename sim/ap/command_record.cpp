#include "sim/ap/command_record.h"

#include <algorithm>

#include "platform/sim/radio_protocol.h"

namespace ravd::sim {
namespace {

std::uint32_t word_at(const std::string& block, std::size_t offset) {
    char bytes[4] = {};
    if (offset < block.size()) block.copy(bytes, sizeof bytes, offset);
    return load_u32(bytes);
}

std::uint32_t bits(int value) { return static_cast<std::uint32_t>(value); }

// How many entries the reply may hold: what there is, what was asked for, what fits.
std::size_t entries(std::size_t available, std::uint32_t capacity, std::size_t head, std::size_t entry_size) {
    const std::size_t room = (command_record_size - head) / entry_size;
    return std::min({available, static_cast<std::size_t>(capacity), room});
}

void append_mac(std::string& out, const mac_octets& mac) {
    for (const std::uint8_t octet : mac)
        out.push_back(static_cast<char>(octet));
    append_u16(out, 0);
}

// Command word, count, and for the stations a word between them.
std::string head_of(driver_command command, std::size_t count) {
    std::string out;
    append_u32(out, static_cast<std::uint32_t>(command));
    if (command == driver_command::get_assoc_stas) append_u32(out, 0);
    append_u32(out, static_cast<std::uint32_t>(count));
    return out;
}

}  // namespace

std::uint32_t command_number(const std::string& block) { return word_at(block, 0); }

std::vector<int> scan_channels(const std::string& block) {
    const std::size_t count = entries(word_at(block, 4), 0xFFFFFFFF, 8, 2);
    std::vector<int> channels;
    for (std::size_t i = 0; i < count && 8 + 2 * i < block.size(); ++i)
        channels.push_back(static_cast<int>(word_at(block, 8 + 2 * i) & 0xFFFF));
    return channels;
}

std::string encode_scan_results(const std::string& request, const std::vector<heard_bss>& heard) {
    const std::size_t count = entries(heard.size(), word_at(request, 4), 8, 28);
    std::string out = head_of(driver_command::custom_scan_results, count);
    for (std::size_t i = 0; i < count; ++i) {
        const heard_bss& bss = heard[i];
        append_mac(out, bss.bssid);
        append_u32(out, bits(bss.rssi));
        append_u32(out, bits(bss.channel));
        append_u32(out, bits(bss.bandwidth));
        append_u32(out, 0);
        append_u16(out, static_cast<std::uint16_t>(bss.chanspec & word_sideband_mask));
        append_u16(out, 0);
    }
    return out;
}

std::string encode_rrm_results(const std::string& request, const std::vector<heard_bss>& heard) {
    const std::size_t count = entries(heard.size(), word_at(request, 4), 8, 28);
    std::string out = head_of(driver_command::rrm_scan_results, count);
    for (std::size_t i = 0; i < count; ++i) {
        const heard_bss& bss = heard[i];
        append_mac(out, bss.bssid);
        append_u32(out, bits(bss.rssi));
        append_u32(out, 0);
        append_u32(out, 0);
        append_u32(out, bits(bss.power * 4));  // quarter units
        append_u16(out, static_cast<std::uint16_t>(bss.chanspec));
        append_u16(out, 0);
    }
    return out;
}

std::string encode_stations(const std::string& request, const std::vector<station_entry>& stations) {
    const std::size_t count = entries(stations.size(), word_at(request, 8), 12, 28);
    std::string out = head_of(driver_command::get_assoc_stas, count);
    for (std::size_t i = 0; i < count; ++i) {
        append_mac(out, stations[i].mac);
        for (const int reading : stations[i].readings)
            append_u32(out, bits(reading + 100));
        out.push_back(stations[i].asked_to_roam ? '\1' : '\0');
        out.push_back(stations[i].no_v ? '\1' : '\0');
        append_u16(out, 0);
    }
    return out;
}

std::string encode_channels(const std::string& request, const std::vector<int>& channels) {
    const std::size_t count = entries(channels.size(), word_at(request, 4), 8, 4);
    std::string out = head_of(driver_command::get_available_channels, count);
    for (std::size_t i = 0; i < count; ++i)
        append_u32(out, bits(channels[i]));
    return out;
}

}  // namespace ravd::sim

// The custom command's record as the driver's side reads and writes it: 131070 bytes, little-endian, unaligned.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/ap/air.h"

namespace ravd::sim {

enum class driver_command : std::uint32_t {
    custom_scan = 0,
    custom_scan_stop = 1,
    custom_scan_results = 2,
    rrm_scan_results = 3,
    get_assoc_stas = 4,
    get_available_channels = 5,
};

struct station_entry {
    mac_octets mac{};
    std::array<int, 4> readings{};  // dBm
    bool asked_to_roam = false;
    bool no_v = false;
};

// Requests. `block` may have been sent without its zeros at the end: what is missing reads as 0.
std::uint32_t command_number(const std::string& block);
// Channels of a custom scan; never more than the record holds, whatever the count says.
std::vector<int> scan_channels(const std::string& block);

// Replies: the leading bytes of the record. Each takes the request, whose capacity bounds the entries beside the
// record.
std::string encode_scan_results(const std::string& request, const std::vector<heard_bss>& heard);
std::string encode_rrm_results(const std::string& request, const std::vector<heard_bss>& heard);
std::string encode_stations(const std::string& request, const std::vector<station_entry>& stations);
std::string encode_channels(const std::string& request, const std::vector<int>& channels);

// Where a reply's count lies: behind the command, for the stations behind another word.
constexpr std::size_t count_offset(driver_command command) { return command == driver_command::get_assoc_stas ? 8 : 4; }

}  // namespace ravd::sim

// What crosses the simulation's radio socket: one wireless ioctl, as plain bytes (docs/simulation.md). All integers are
// little-endian. Used by the kernel port of ravd-sim and by the simulated access point.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ravd::sim {

// Name of the socket below the simulation's directory.
constexpr const char radio_socket_name[] = "radio.sock";

// The custom command's record is larger than u.data.length can tell: this length stands for the whole record.
constexpr std::size_t command_record_size = 131070;
constexpr std::uint16_t command_record_length = 0xFFFE;

// Bytes of memory behind u.data.pointer.
constexpr std::size_t block_capacity(std::uint16_t length) {
    return length == command_record_length ? command_record_size : length;
}

// Request, after a u32 with the number of bytes that follow: u32 request number, 16 bytes of interface name padded with
// zeros, u16 length, u16 flags, then the block. Zeros at the block's end may be left out.
constexpr std::size_t radio_name_size = 16;
constexpr std::size_t radio_request_head = 4 + radio_name_size + 2 + 2;

struct radio_request {
    std::uint32_t number = 0;
    std::string ifname;
    std::uint16_t length = 0;
    std::uint16_t flags = 0;
    std::string block;
};

// Reply, after a u32 with the number of bytes that follow: i32 result, i32 errno of the machine (0 unless the result is
// below 0), u16 length, u16 flags, then the leading bytes of the block; what lies behind them stays as it was.
constexpr std::size_t radio_reply_head = 4 + 4 + 2 + 2;

struct radio_reply {
    std::int32_t result = 0;
    std::int32_t error = 0;
    std::uint16_t length = 0;
    std::uint16_t flags = 0;
    std::string block;
};

// Whole messages, the leading size included.
std::string encode(const radio_request& request);
std::string encode(const radio_reply& reply);
// From the bytes after the leading size. False when there are too few of them, or more block than a record has.
bool decode(const char* bytes, std::size_t size, radio_request& request);
bool decode(const char* bytes, std::size_t size, radio_reply& reply);

// Little-endian integers at any address.
void append_u16(std::string& out, std::uint16_t value);
void append_u32(std::string& out, std::uint32_t value);
std::uint16_t load_u16(const char* bytes);
std::uint32_t load_u32(const char* bytes);

}  // namespace ravd::sim

#include "platform/portable/bus_frame.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace ravd {
namespace {

constexpr unsigned char magic[4] = {'R', 'V', 'B', '1'};
constexpr std::size_t destination_offset = 9;
constexpr std::size_t kind_offset = 8;
constexpr std::size_t magic_offset = 13;
constexpr std::size_t first_capacity = 4096;

void put_u32(unsigned char* out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::uint32_t get_u32(const unsigned char* in) {
    return static_cast<std::uint32_t>(in[0]) | static_cast<std::uint32_t>(in[1]) << 8 |
           static_cast<std::uint32_t>(in[2]) << 16 | static_cast<std::uint32_t>(in[3]) << 24;
}

}  // namespace

void encode_bus_header(const bus_frame_header& header, unsigned char* out) {
    put_u32(out, static_cast<std::uint32_t>(header.source));
    put_u32(out + mbus_length_offset, header.length);
    out[kind_offset] = static_cast<unsigned char>(header.kind);
    put_u32(out + destination_offset, static_cast<std::uint32_t>(header.destination));
    std::memcpy(out + magic_offset, magic, sizeof magic);
}

bool decode_bus_header(const unsigned char* in, bus_frame_header& header) {
    const std::uint32_t source = get_u32(in);
    const std::uint32_t destination = get_u32(in + destination_offset);
    const std::uint32_t length = get_u32(in + mbus_length_offset);
    if (std::memcmp(in + magic_offset, magic, sizeof magic) != 0) return false;
    if (source > INT_MAX || destination > INT_MAX || length > mbus_message_limit) return false;
    if (in[kind_offset] > static_cast<unsigned char>(bus_frame_kind::watch)) return false;
    header.kind = static_cast<bus_frame_kind>(in[kind_offset]);
    if (header.kind == bus_frame_kind::hello && length != 0) return false;
    header.source = static_cast<int>(source);
    header.destination = static_cast<int>(destination);
    header.length = length;
    return true;
}

bool bus_frame_reader::make_room(std::size_t wanted) {
    if (wanted <= capacity_) return true;
    const std::size_t whole = mbus_header_size + header_.length + 1;
    const std::size_t capacity = std::min(whole, std::max({wanted, 2 * capacity_, first_capacity}));
    void* grown = std::realloc(block_.get(), capacity);
    if (!grown) return false;
    (void)block_.release();
    block_.reset(static_cast<unsigned char*>(grown));
    capacity_ = capacity;
    return true;
}

bus_frame_reader::state bus_frame_reader::feed(const unsigned char* bytes, std::size_t count, std::size_t& used) {
    used = 0;
    if (held_ < mbus_header_size) {
        used = std::min(count, mbus_header_size - held_);
        std::memcpy(head_ + held_, bytes, used);
        held_ += used;
        if (held_ < mbus_header_size) return state::more;
        if (!decode_bus_header(head_, header_) || !make_room(mbus_header_size + 1)) return state::bad;
        std::memcpy(block_.get(), head_, mbus_header_size);
    }
    const std::size_t whole = mbus_header_size + header_.length;
    const std::size_t piece = std::min(count - used, whole - held_);
    if (!make_room(held_ + piece + 1)) return state::bad;
    std::memcpy(block_.get() + held_, bytes + used, piece);
    held_ += piece;
    used += piece;
    if (held_ < whole) return state::more;
    block_.get()[whole] = 0;
    return state::whole;
}

bus_block bus_frame_reader::take() {
    held_ = 0;
    capacity_ = 0;
    return std::move(block_);
}

}  // namespace ravd

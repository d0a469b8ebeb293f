#include "platform/sim/radio_protocol.h"

#include <algorithm>
#include <cstring>

namespace ravd::sim {

void append_u16(std::string& out, std::uint16_t value) {
    out.push_back(static_cast<char>(value & 0xFF));
    out.push_back(static_cast<char>(value >> 8));
}

void append_u32(std::string& out, std::uint32_t value) {
    append_u16(out, static_cast<std::uint16_t>(value & 0xFFFF));
    append_u16(out, static_cast<std::uint16_t>(value >> 16));
}

std::uint16_t load_u16(const char* bytes) {
    const auto low = static_cast<unsigned char>(bytes[0]);
    const auto high = static_cast<unsigned char>(bytes[1]);
    return static_cast<std::uint16_t>(low | (high << 8));
}

std::uint32_t load_u32(const char* bytes) {
    return load_u16(bytes) | (static_cast<std::uint32_t>(load_u16(bytes + 2)) << 16);
}

std::string encode(const radio_request& request) {
    std::string out;
    const std::size_t size = radio_request_head + request.block.size();
    out.reserve(4 + size);
    append_u32(out, static_cast<std::uint32_t>(size));
    append_u32(out, request.number);
    const std::size_t name = std::min(request.ifname.size(), radio_name_size);
    out.append(request.ifname, 0, name).append(radio_name_size - name, '\0');
    append_u16(out, request.length);
    append_u16(out, request.flags);
    return out += request.block;
}

std::string encode(const radio_reply& reply) {
    std::string out;
    const std::size_t size = radio_reply_head + reply.block.size();
    out.reserve(4 + size);
    append_u32(out, static_cast<std::uint32_t>(size));
    append_u32(out, static_cast<std::uint32_t>(reply.result));
    append_u32(out, static_cast<std::uint32_t>(reply.error));
    append_u16(out, reply.length);
    append_u16(out, reply.flags);
    return out += reply.block;
}

bool decode(const char* bytes, std::size_t size, radio_request& request) {
    if (size < radio_request_head || size > radio_request_head + command_record_size) return false;
    request.number = load_u32(bytes);
    const char* name = bytes + 4;
    request.ifname.assign(name, std::find(name, name + radio_name_size, '\0'));
    request.length = load_u16(name + radio_name_size);
    request.flags = load_u16(name + radio_name_size + 2);
    request.block.assign(bytes + radio_request_head, size - radio_request_head);
    return true;
}

bool decode(const char* bytes, std::size_t size, radio_reply& reply) {
    if (size < radio_reply_head || size > radio_reply_head + command_record_size) return false;
    reply.result = static_cast<std::int32_t>(load_u32(bytes));
    reply.error = static_cast<std::int32_t>(load_u32(bytes + 4));
    reply.length = load_u16(bytes + 8);
    reply.flags = load_u16(bytes + 10);
    reply.block.assign(bytes + radio_reply_head, size - radio_reply_head);
    return true;
}

}  // namespace ravd::sim
